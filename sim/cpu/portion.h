#pragma once

#include "sim/cpu/cpu.h"
#include "sim/cpu/thumb.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <vector>

namespace jlinksim {

/// What the instruction engine executes at once: an instruction, an IT instruction with its block, or nothing.
struct Portion
{
    std::uint8_t instructions = 0; ///< 5 at most; one that an IT block skips counts
    std::uint8_t bytes = 0;        ///< 18 at most; 0 where it may be another portion next time
};

/// The instruction at an address, where code can be fetched.
using Fetch = std::function<std::optional<thumb::Instruction>(std::uint32_t address)>;

/// The portion that begins at an address. What is trapped or carried out without the engine is none.
Portion portion_at(std::uint32_t address, const CpuTraps& traps, const Fetch& fetch);

/// Portions of a read-only memory, so that each is found out once.
class KnownPortions
{
public:
    KnownPortions() = default;
    explicit KnownPortions(const DirectMemory& memory) : base_{memory.base}, by_halfword_(memory.bytes.size() / 2) {}

    /// Without bytes: not known.
    Portion find(std::uint32_t address) const
    {
        const std::size_t index = (address - base_) / 2;
        return index < by_halfword_.size() ? by_halfword_[index] : Portion{};
    }
    void keep(std::uint32_t address, Portion portion);
    /// Those that lie in the bytes or reach there.
    void forget(std::uint32_t address, std::uint32_t length);

private:
    std::uint32_t base_ = 0;
    std::vector<Portion> by_halfword_;
};

/// Portions of a memory that may be written at any time: what was found out holds as long as the same bytes stand
/// there. Those of one instruction alone, which need no more than its own bytes.
class WritablePortions
{
public:
    WritablePortions() = default;
    explicit WritablePortions(const DirectMemory& memory) : memory_{memory}, by_halfword_(memory.bytes.size() / 2) {}

    /// Without bytes: not known.
    Portion find(std::uint32_t address) const
    {
        const std::size_t offset = address - memory_.base;
        if (offset / 2 >= by_halfword_.size()) {
            return {};
        }
        const Known& known = by_halfword_[offset / 2];
        return known.portion.bytes != 0 && known.code == code_at(offset) ? known.portion : Portion{};
    }
    void keep(std::uint32_t address, Portion portion);

private:
    struct Known
    {
        std::uint32_t code = 0; ///< what stands there, the longest instruction's length
        Portion portion;
    };

    std::uint32_t code_at(std::size_t offset) const
    {
        std::uint32_t code = 0;
        std::memcpy(&code, &memory_.bytes[offset], std::min(sizeof code, memory_.bytes.size() - offset));
        return code;
    }

    DirectMemory memory_{};
    std::vector<Known> by_halfword_;
};

} // namespace jlinksim
