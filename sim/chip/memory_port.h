#pragma once

#include "sim/chip/access_port.h"
#include "sim/device/register_block.h"

#include <functional>

namespace jlinksim {

/// The AHB-AP: the probe's way to the chip's bus.
class MemoryPort final : public RegisterBlock<MemoryPort>, public AccessPort
{
public:
    static const std::span<const Register<MemoryPort>> table;

    /// The bus as the probe may use it now; false for a fault, and for everything while the port is closed.
    struct Connections
    {
        std::function<bool(std::uint32_t address, std::span<std::uint8_t> data)> read;
        std::function<bool(std::uint32_t address, std::span<const std::uint8_t> data)> write;
        std::function<bool()> is_open;
    };

    MemoryPort(std::span<std::uint32_t> words, Records& records, Connections connections);

    bool read_port(std::uint8_t address, std::uint32_t& value) override;
    bool write_port(std::uint8_t address, std::uint32_t value) override;

private:
    friend struct MemoryPortTable;

    std::uint32_t read_control(unsigned index);
    std::uint32_t read_data(unsigned index);
    void write_data(std::uint32_t value, unsigned index);
    std::uint32_t read_banked(unsigned index);
    void write_banked(std::uint32_t value, unsigned index);

    std::uint32_t access_bytes() const;
    void count_address_up();

    Connections connections_;
    bool faulted_ = false;
};

} // namespace jlinksim
