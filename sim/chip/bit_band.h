#pragma once

#include "sim/chip/bus.h"
#include "sim/device/bus_device.h"

#include <cstdint>

namespace jlinksim {

/// A window with a word for every bit of a megabyte of the bus. Such a word reads as its bit, and what is written to it
/// goes to that bit alone.
class BitBand final : public BusDevice
{
public:
    static constexpr std::uint32_t ram_window = 0x22000000;
    static constexpr std::uint32_t peripheral_window = 0x42000000;
    static constexpr std::uint32_t bytes = 0x02000000;

    /// Of the megabyte from `target` on.
    BitBand(Bus& bus, std::uint32_t target) : bus_(bus), target_(target) {}

    bool read(std::uint32_t offset, std::span<std::uint8_t> data) override;
    bool write(std::uint32_t offset, std::span<const std::uint8_t> data) override;

private:
    Bus& bus_;
    std::uint32_t target_;
};

} // namespace jlinksim
