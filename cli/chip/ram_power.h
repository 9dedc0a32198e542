/// The sections of the chip's RAM and which of them are powered; shared by `info`, `ram` and `recover`.
#pragma once

#include "cli/session/session.h"

#include <cstdint>
#include <vector>

namespace tessit::cli {

struct RamSections
{
    std::vector<std::uint32_t> sizes; ///< bytes, in the order of their addresses
    std::vector<ram_power_status_t> power;

    std::uint32_t total_bytes() const;
    std::size_t count_on() const;
};

/// Does not halt the CPU.
RamSections read_ram_sections(const Session& session);

} // namespace tessit::cli
