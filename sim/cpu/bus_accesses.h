#pragma once

#include "sim/cpu/cpu.h"

#include <cstdint>
#include <string>

namespace jlinksim {

/// Makes an instruction's accesses on a chip's bus, in pieces that the bus takes, and says why one was refused.
class BusAccesses
{
public:
    explicit BusAccesses(CpuBus& bus) : bus_{bus} {}

    /// `size` is 1, 2, 4 or 8 bytes, `address` any.
    bool read(std::uint32_t address, unsigned size, std::uint64_t& value);
    bool write(std::uint32_t address, unsigned size, std::uint64_t value);

    /// Whether an access of memory is aligned, which is refused otherwise; of 8 bytes each word counts.
    bool require_alignment(const char* access, std::uint32_t address, unsigned size);

    /// Of the access that was refused last.
    const std::string& refusal() const { return refusal_; }
    FaultStatus status() const { return status_; }

private:
    bool refuse(const char* access, std::uint32_t address, unsigned size, const char* why, FaultStatus status);

    CpuBus& bus_;
    std::string refusal_;
    FaultStatus status_;
};

} // namespace jlinksim
