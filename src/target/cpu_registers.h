#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

namespace tessit {

/// Whether the value names a CPU register; the functions below take no other.
constexpr bool is_cpu_register(cpu_register_t name)
{
    return name >= R0 && name <= PSP;
}

/// Read a register of the halted CPU. The J-Link library reports no failure of it.
std::uint32_t read_cpu_register(cpu_register_t name);

result_code_t write_cpu_register(cpu_register_t name, std::uint32_t value);

} // namespace tessit
