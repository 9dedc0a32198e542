#pragma once

#include "sim/device/register_block.h"

namespace jlinksim {

/// Pin configuration of a GPIO port. The pins themselves lead nowhere.
class Gpio final : public RegisterBlock<Gpio>
{
public:
    static constexpr std::uint32_t port_stride = 0x300;
    static constexpr std::uint32_t first_port_base = 0x50000000;
    /// Offsets at which a port answers: the ports' windows lie side by side.
    static constexpr std::uint32_t window_begin = 0x500;
    static constexpr std::uint32_t window_bytes = 0x300;

    static const std::span<const Register<Gpio>> table;       ///< a port of 32 pins
    static const std::span<const Register<Gpio>> small_table; ///< a port of 16 pins

    using RegisterBlock::RegisterBlock;

    /// What PIN_CNF of a pin holds; the port has the pin.
    std::uint32_t pin_configuration(unsigned pin) const;
};

} // namespace jlinksim
