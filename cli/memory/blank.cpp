#include "cli/memory/blank.h"

#include "cli/failure.h"
#include "cli/memory/erased_bytes.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <vector>

namespace tessit::cli {
namespace {

std::optional<NotBlank> first_not_blank(const Memory& memory, std::uint32_t address,
                                        std::span<const std::uint8_t> bytes)
{
    const auto byte = std::ranges::find_if(bytes, [](std::uint8_t each) { return each != erased_byte; });
    if (byte == bytes.end()) {
        return std::nullopt;
    }
    return NotBlank{&memory, address + static_cast<std::uint32_t>(byte - bytes.begin()), *byte};
}

// An erase clears whole units, so their beginnings and ends tell of each whether it was cleared.
std::optional<NotBlank> look_at_samples(const Memory& memory, const Range& range)
{
    constexpr std::uint32_t sample_bytes = 16;
    const std::uint32_t unit = memory.traits.unit_bytes;
    std::array<std::uint8_t, sample_bytes> bytes{};
    for (std::uint64_t first = range.first; first < range.end(); first += unit) {
        for (const std::uint64_t place : {first, first + unit - sample_bytes}) {
            const auto address = static_cast<std::uint32_t>(place);
            memory.read(address, bytes, {});
            if (const auto found = first_not_blank(memory, address, bytes)) {
                return found;
            }
        }
    }
    return std::nullopt;
}

std::optional<NotBlank> look_at_all(const Memory& memory, const Range& range, const Narration& narration)
{
    Progress progress{narration, "verify", range.length > transfer_chunk ? range.length : 0, "bytes"};
    std::vector<std::uint8_t> bytes;
    for (std::uint64_t at = range.first; at < range.end(); at += bytes.size()) {
        const auto address = static_cast<std::uint32_t>(at);
        bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(transfer_chunk, range.end() - at)));
        memory.read(address, bytes, {});
        if (const auto found = first_not_blank(memory, address, bytes)) {
            return found;
        }
        progress.advance(bytes.size());
    }
    progress.finish();
    return std::nullopt;
}

} // namespace

const char* name_of(BlankProof proof)
{
    switch (proof) {
    case BlankProof::read:
        return "read";
    case BlankProof::samples:
        return "samples";
    case BlankProof::none:
        break;
    }
    return "none";
}

BlankProof cheapest_proof(const Memory& memory, const Range& range, double erase_seconds)
{
    return memory.traits.read_cost.of(range.length) <= erase_seconds ? BlankProof::read : BlankProof::samples;
}

std::optional<NotBlank> find_not_blank(const Memory& memory, const Range& range, BlankProof proof,
                                       const Narration& narration)
{
    switch (proof) {
    case BlankProof::read:
        return look_at_all(memory, range, narration);
    case BlankProof::samples:
        return look_at_samples(memory, range);
    case BlankProof::none:
        break;
    }
    return std::nullopt;
}

std::optional<NotBlank> find_not_blank(const Memory& memory, std::uint32_t address)
{
    std::array<std::uint8_t, 1> byte{};
    memory.read(address, byte, {});
    return first_not_blank(memory, address, byte);
}

void ProvenErases::run(const std::function<std::optional<NotBlank>()>& erase_and_look)
{
    auto left = erase_and_look();
    if (left && lift_protection()) {
        left = erase_and_look();
    }
    if (left) {
        throw Failure{ExitCode::failure,
                      fmt::format("the {} did not carry out its erase: the byte at {:#010x} still holds {:#04x}",
                                  left->memory->traits.name, left->address, left->byte),
                      device_.not_erased_hint};
    }
}

bool ProvenErases::lift_protection()
{
    if (was_lifted_ || !device_.lift_protection) {
        return false;
    }
    device_.lift_protection();
    was_lifted_ = true;
    return true;
}

} // namespace tessit::cli
