#pragma once

#include <cstdint>

namespace jlinksim {

/// An access port behind the debug port. Registers are named by their 8-bit address.
class AccessPort
{
public:
    /// False: the port did not acknowledge.
    virtual bool read_port(std::uint8_t address, std::uint32_t& value) = 0;
    virtual bool write_port(std::uint8_t address, std::uint32_t value) = 0;

protected:
    ~AccessPort() = default;
};

} // namespace jlinksim
