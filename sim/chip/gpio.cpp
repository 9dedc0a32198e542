#include "chip/gpio.h"

#include <array>

namespace jlinksim {
namespace {

constexpr Register<Gpio> pin_configuration(unsigned pins)
{
    // Reset: input buffer off. Writable: direction, input, pull, drive, sense.
    return {.name = "PIN_CNF", .offset = 0x700, .reset = 0x2, .writable = 0x0003070F, .count = pins};
}

constexpr std::array rows{pin_configuration(32)};
constexpr std::array small_rows{pin_configuration(16)};

} // namespace

const std::span<const Register<Gpio>> Gpio::table{rows};
const std::span<const Register<Gpio>> Gpio::small_table{small_rows};

} // namespace jlinksim
