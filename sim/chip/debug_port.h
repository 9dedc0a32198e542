#pragma once

#include "sim/chip/access_port.h"
#include "sim/device/register_block.h"

#include <array>

namespace jlinksim {

/// The SWD debug port: identification, power-up requests, and the selection of an access port's register.
class DebugPort final : public RegisterBlock<DebugPort>
{
public:
    static const std::span<const Register<DebugPort>> table;

    DebugPort(std::span<std::uint32_t> words, Records& records);

    /// The port that answers at `index` (0 to 7); without one, its registers read as zero.
    void attach(std::uint8_t index, AccessPort& port) { ports_.at(index) = &port; }

    /// Debug port registers by index 0 to 3, in the selected bank.
    std::uint32_t read_debug(std::uint8_t index);
    void write_debug(std::uint8_t index, std::uint32_t value);
    /// Register `index` (0 to 3) of the selected bank of the selected access port. False: not acknowledged.
    bool read_access(std::uint8_t index, std::uint32_t& value);
    bool write_access(std::uint8_t index, std::uint32_t value);

    void request_power(bool on);
    bool requests_power() const;

private:
    friend struct DebugPortTable;

    struct Selected
    {
        AccessPort* port;
        std::uint8_t address;
    };

    std::uint32_t read_control(unsigned index);
    void abort(std::uint32_t value, unsigned index);
    std::uint32_t banked_address(std::uint8_t index) const;
    bool is_powered() const;
    Selected selected(std::uint8_t index) const;
    bool may_access(const char* access);
    bool acknowledged(bool ok);

    std::array<AccessPort*, 8> ports_{};
};

} // namespace jlinksim
