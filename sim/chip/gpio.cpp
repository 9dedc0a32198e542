#include "sim/chip/gpio.h"

#include <array>

namespace jlinksim {
namespace {

constexpr std::uint32_t configuration_offset = 0x700;

constexpr Register<Gpio> pin_configurations(unsigned pins)
{
    // Reset: input buffer off. Writable: direction, input, pull, drive, sense.
    return {.name = "PIN_CNF", .offset = configuration_offset, .reset = 0x2, .writable = 0x0003070F, .count = pins};
}

constexpr std::array rows{pin_configurations(32)};
constexpr std::array small_rows{pin_configurations(16)};

} // namespace

const std::span<const Register<Gpio>> Gpio::table{rows};
const std::span<const Register<Gpio>> Gpio::small_table{small_rows};

std::uint32_t Gpio::pin_configuration(unsigned pin) const
{
    return word(configuration_offset + 4 * pin);
}

} // namespace jlinksim
