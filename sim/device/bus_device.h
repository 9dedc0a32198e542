#pragma once

#include <cstdint>
#include <span>

namespace jlinksim {

/// Every way in which a chip can start over.
enum class ResetKind
{
    power_on, ///< supply off and on
    pin,      ///< the reset line
    system,   ///< requested through the core's AIRCR register, by the probe or by firmware
    control,  ///< the CTRL-AP's reset register
};

/// Anything that answers at addresses of the chip's bus. Offsets are relative to where it is attached.
class BusDevice
{
public:
    virtual ~BusDevice() = default;

    /// False is a bus fault. The bus never asks beyond the window at which the device is attached.
    virtual bool read(std::uint32_t offset, std::span<std::uint8_t> data) = 0;
    virtual bool write(std::uint32_t offset, std::span<const std::uint8_t> data) = 0;
    /// Backing bytes of a memory, past all its rules; empty for registers.
    virtual std::span<std::uint8_t> raw() { return {}; }
    virtual void reset(ResetKind /*kind*/) {}

    /// What has begun is carried out as far as its time has come.
    virtual void settle() {}
    /// When that goes on, on the clock that chips go by; `no_event` when nothing is under way.
    static constexpr std::uint64_t no_event = ~std::uint64_t{0};
    virtual std::uint64_t next_event() const { return no_event; }
    /// Whether the device's interrupt line is high.
    virtual bool interrupt() const { return false; }
};

} // namespace jlinksim
