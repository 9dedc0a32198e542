#include "sim/chip/systick.h"

#include <algorithm>
#include <limits>

namespace jlinksim {
namespace {

constexpr std::uint32_t control = 0x010;     // SYST_CSR
constexpr std::uint32_t reload = 0x014;      // SYST_RVR
constexpr std::uint32_t count = 0x018;       // SYST_CVR
constexpr std::uint32_t calibration = 0x01C; // SYST_CALIB

constexpr std::uint32_t enable = 1U << 0;
constexpr std::uint32_t raises_exception = 1U << 1;
constexpr std::uint32_t has_ended = 1U << 16; // COUNTFLAG
constexpr std::uint32_t count_bits = 0x00FFFFFF;

// The CPU's clock is the only one: there is no reference clock, and nobody has measured ten milliseconds.
constexpr std::uint32_t counts_cpu_clock = 1U << 2;
constexpr std::uint32_t no_reference_clock = 0xC0000000;

} // namespace

struct SysTickTable
{
    static constexpr std::array rows{
        // clang-format off
        Register<SysTick>{"CSR",   control,     counts_cpu_clock,   enable | raises_exception, nullptr, &SysTick::read_control},
        Register<SysTick>{"RVR",   reload,      0,                  count_bits},
        Register<SysTick>{"CVR",   count,       0,                  0,                         &SysTick::clear_count},
        Register<SysTick>{"CALIB", calibration, no_reference_clock, 0},
        // clang-format on
    };
};

const std::span<const Register<SysTick>> SysTick::table{SysTickTable::rows};

SysTick::SysTick(Exceptions& exceptions, std::span<std::uint32_t> words, Records& records)
    : RegisterBlock("SysTick", table, words, records), exceptions_(exceptions)
{
}

/// From zero it goes on with the reload value, and stands still where that is zero, too.
bool SysTick::counts() const
{
    return (word(control) & enable) != 0 && (word(count) != 0 || word(reload) != 0);
}

std::uint64_t SysTick::cycles_to_end() const
{
    if (!counts()) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return word(count) != 0 ? word(count) : word(reload) + std::uint64_t{1};
}

void SysTick::end()
{
    word(control) |= has_ended;
    if ((word(control) & raises_exception) != 0) {
        exceptions_.pend(exception::sys_tick);
    }
}

void SysTick::advance(std::uint64_t cycles)
{
    if (cycles == 0 || !counts()) {
        return;
    }
    if (const std::uint64_t first = cycles_to_end(); cycles >= first) {
        end();
        const std::uint64_t period = word(reload) + std::uint64_t{1};
        cycles = (cycles - first) % period;
        word(count) = 0;
    }
    if (cycles == 0 || !counts()) {
        return;
    }
    const std::uint64_t from = word(count) != 0 ? word(count) : word(reload) + std::uint64_t{1};
    word(count) = static_cast<std::uint32_t>(from - cycles);
}

std::uint32_t SysTick::read_control(unsigned /*index*/)
{
    const std::uint32_t value = word(control);
    word(control) &= ~has_ended;
    return value;
}

/// Whatever is written, the counter is cleared.
void SysTick::clear_count(std::uint32_t /*value*/, unsigned /*index*/)
{
    word(count) = 0;
    word(control) &= ~has_ended;
}

} // namespace jlinksim
