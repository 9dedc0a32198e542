/// The CPU's registers, by their names and of a halted CPU.
#pragma once

#include "cli/session/target.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tessit::cli {

inline constexpr std::size_t register_count = 19;
inline constexpr std::array<std::string_view, register_count> register_names{
    "r0",  "r1",  "r2",  "r3", "r4", "r5", "r6",   "r7",  "r8", "r9",
    "r10", "r11", "r12", "sp", "lr", "pc", "xpsr", "msp", "psp"};

using Registers = std::array<std::uint32_t, register_count>; ///< in the order of cpu_register_t

/// The register of a name: as above in any case, or r13, r14, r15.
std::optional<cpu_register_t> find_register(std::string_view name);

std::uint32_t read_register(const Target& target, cpu_register_t which);
void write_register(const Target& target, cpu_register_t which, std::uint32_t value);
Registers read_registers(const Target& target);

} // namespace tessit::cli
