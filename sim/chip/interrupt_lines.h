#pragma once

#include "sim/device/bus_device.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace jlinksim {

/// The peripherals that do things by themselves, and the lines with which they interrupt the CPU.
class InterruptLines
{
public:
    using Drive = std::function<void(unsigned interrupt, bool high)>;

    explicit InterruptLines(Drive drive) : drive_(std::move(drive)) {}

    /// Without a number it does things by itself alone. Several devices may share a line.
    void add(BusDevice& device, std::optional<unsigned> number);

    /// What the peripherals began is carried out as far as its time has come.
    void settle();
    /// Each line as its devices hold it now.
    void drive();
    /// The instant at which a peripheral does something next, or BusDevice::no_event.
    std::uint64_t next_event() const;

private:
    struct Source
    {
        BusDevice* device;
        std::optional<unsigned> number;
    };

    std::vector<Source> sources_;
    Drive drive_;
};

} // namespace jlinksim
