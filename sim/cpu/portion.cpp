#include "sim/cpu/portion.h"

#include <algorithm>

namespace jlinksim {
namespace {

using thumb::IfThen;
using thumb::Instruction;
using thumb::Kind;
using thumb::Reach;

/// Whether the engine may execute it; nothing where the traps decide.
std::optional<bool> is_for_engine(Kind kind)
{
    switch (kind) {
    case Kind::ordinary:
        return true;
    case Kind::mask_write:
    case Kind::floating_point:
    case Kind::division:
        return {};
    default:
        return false;
    }
}

bool is_trapped(Kind kind, const CpuTraps& traps)
{
    return (kind == Kind::mask_write && traps.mask_writes) || (kind == Kind::floating_point && traps.floating_point) ||
           (kind == Kind::division && traps.division_by_zero);
}

/// The engine takes an IT block as one instruction: it stops only after it, says nothing of what it skips, and forgets
/// where in the block a fault happened. So it gets only blocks that cannot fail, or whose first instruction alone can:
/// then the block can begin again in another way.
Portion block_at(std::uint32_t address, Instruction if_then, const Fetch& fetch)
{
    const unsigned length = IfThen{static_cast<std::uint8_t>(if_then.first & 0xFFU)}.length();
    std::uint32_t end = address + if_then.length();
    for (unsigned i = 0; i < length; ++i) {
        const auto instruction = fetch(end);
        const Reach reach = instruction ? thumb::reach_of(*instruction) : Reach::beyond;
        if (reach == Reach::beyond || (reach == Reach::access && i != 0)) {
            return {};
        }
        end += instruction->length();
    }
    return {static_cast<std::uint8_t>(1 + length), static_cast<std::uint8_t>(end - address)};
}

} // namespace

Portion portion_at(std::uint32_t address, const CpuTraps& traps, const Fetch& fetch)
{
    const auto instruction = fetch(address);
    if (!instruction) {
        return {};
    }
    const Kind kind = thumb::classify(*instruction);
    if (kind == Kind::if_then) {
        return block_at(address, *instruction, fetch);
    }
    const std::optional<bool> lasting = is_for_engine(kind);
    const bool is_whole = lasting.value_or(!is_trapped(kind, traps));
    return {.instructions = is_whole ? std::uint8_t{1} : std::uint8_t{0},
            .bytes = static_cast<std::uint8_t>(lasting ? instruction->length() : 0)};
}

void KnownPortions::keep(std::uint32_t address, Portion portion)
{
    const std::size_t index = (address - base_) / 2;
    if (index < by_halfword_.size()) {
        by_halfword_[index] = portion;
    }
}

void KnownPortions::forget(std::uint32_t address, std::uint32_t length)
{
    constexpr std::uint64_t longest_portion = 18;
    const std::uint64_t memory_end = base_ + 2 * by_halfword_.size();
    const std::uint64_t first = address - std::min<std::uint64_t>(address, longest_portion);
    const std::uint64_t end = std::min(std::uint64_t{address} + length, memory_end);
    for (std::uint64_t at = std::max<std::uint64_t>(first, base_); at < end; at += 2) {
        by_halfword_[(at - base_) / 2] = {};
    }
}

void WritablePortions::keep(std::uint32_t address, Portion portion)
{
    const std::size_t offset = address - memory_.base;
    if (offset / 2 < by_halfword_.size() && portion.instructions == 1 && portion.bytes <= sizeof(Known::code)) {
        by_halfword_[offset / 2] = {code_at(offset), portion};
    }
}

} // namespace jlinksim
