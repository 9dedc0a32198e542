#pragma once

#include <cstdint>
#include <span>

namespace jlinksim {

/// The target's memory as the probe reaches it while the CPU runs. Every access takes its time on the wire, in which
/// the chip lives on; it takes effect at the end of that time.
class RttMemory
{
public:
    /// False when the chip does not answer or its debug access is closed.
    virtual bool read(std::uint32_t address, std::span<std::uint8_t> data) = 0;
    virtual bool write(std::uint32_t address, std::span<const std::uint8_t> data) = 0;

    /// Whether all of a stretch is RAM that has its power.
    virtual bool is_ram(std::uint32_t address, std::uint64_t length) const = 0;

protected:
    ~RttMemory() = default;
};

} // namespace jlinksim
