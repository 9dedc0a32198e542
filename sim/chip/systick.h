#pragma once

#include "sim/cpu/exceptions.h"
#include "sim/device/register_block.h"

#include <cstdint>

namespace jlinksim {

/// The CPU's timer: it counts the CPU's cycles down and starts over, with an exception at each end.
class SysTick final : public RegisterBlock<SysTick>
{
public:
    static constexpr std::uint32_t window_begin = 0x010;
    static constexpr std::uint32_t window_bytes = 0x10;
    static const std::span<const Register<SysTick>> table;

    SysTick(Exceptions& exceptions, std::span<std::uint32_t> words, Records& records);

    void advance(std::uint64_t cycles);
    /// From now on; the largest number when it never comes.
    std::uint64_t cycles_to_end() const;

private:
    friend struct SysTickTable;

    std::uint32_t read_control(unsigned index);
    void clear_count(std::uint32_t value, unsigned index);
    bool counts() const;
    void end();

    Exceptions& exceptions_;
};

} // namespace jlinksim
