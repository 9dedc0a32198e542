#pragma once

#include "sim/cpu/cpu.h"
#include "sim/device/bus_device.h"
#include "sim/witness/records.h"

#include <vector>

namespace jlinksim {

/// The chip's address space: which device answers where.
class Bus final : public CpuBus
{
public:
    explicit Bus(Records& records) : records_(records) {}

    /// A device answers `size` bytes from `address`, the first of them being its offset `first_offset`. Where windows
    /// overlap, the one attached first wins.
    void attach(std::uint32_t address, std::uint32_t size, BusDevice& device, std::uint32_t first_offset = 0);

    /// False when any part met a bus fault; the parts before it were carried out.
    bool read(std::uint32_t address, std::span<std::uint8_t> data);
    bool write(std::uint32_t address, std::span<const std::uint8_t> data);

    /// Past all rules of the memories, without records: the bytes as they are.
    bool peek(std::uint32_t address, std::span<std::uint8_t> data);
    bool poke(std::uint32_t address, std::span<const std::uint8_t> data);
    std::uint32_t peek_word(std::uint32_t address);

    bool cpu_read(std::uint32_t address, unsigned width, std::uint32_t& value) override;
    bool cpu_write(std::uint32_t address, unsigned width, std::uint32_t value) override;

private:
    struct Window
    {
        std::uint32_t address;
        std::uint32_t size;
        BusDevice* device;
        std::uint32_t first_offset;
    };
    /// A run of addresses that one device answers.
    struct Target
    {
        BusDevice* device = nullptr;
        std::uint32_t offset = 0;
        std::size_t length = 0;
    };

    /// No device: nothing answers at the address.
    Target find(std::uint32_t address, std::size_t length) const;
    Target find_or_record(std::uint32_t address, std::size_t length, const char* access);

    std::vector<Window> windows_;
    Records& records_;
};

} // namespace jlinksim
