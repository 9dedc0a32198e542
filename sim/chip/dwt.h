#pragma once

#include "sim/cpu/cpu.h"
#include "sim/device/register_block.h"

#include <cstdint>
#include <vector>

namespace jlinksim {

/// The data watchpoint and trace unit: four comparators that halt the CPU, and the cycle counter.
class Dwt final : public RegisterBlock<Dwt>
{
public:
    static constexpr std::uint32_t base = 0xE0001000;
    static constexpr std::uint32_t bytes = 0x1000;
    static const std::span<const Register<Dwt>> table;

    Dwt(std::span<std::uint32_t> words, Records& records);

    void advance(std::uint64_t cycles);
    std::vector<Watchpoint> watchpoints() const;
    /// The comparator has found what it looks for.
    void note_match(unsigned comparator);

private:
    friend struct DwtTable;

    std::uint32_t read_function(unsigned index);
};

} // namespace jlinksim
