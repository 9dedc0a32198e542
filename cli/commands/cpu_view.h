/// The CPU's registers by name, and where the CPU is; shared by `halt`, `step`, `run` and `reg`.
#pragma once

#include "cli/session/target.h"
#include "cli/terminal/console.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessit::cli {

inline constexpr std::size_t register_count = 19;
inline constexpr std::array<const char*, register_count> register_names{"r0", "r1", "r2",   "r3",  "r4",  "r5",  "r6",
                                                                        "r7", "r8", "r9",   "r10", "r11", "r12", "sp",
                                                                        "lr", "pc", "xpsr", "msp", "psp"};

using Registers = std::array<std::uint32_t, register_count>; ///< in the order of cpu_register_t

/// The register of a name: as above in any case, or r13, r14, r15.
std::optional<cpu_register_t> find_register(std::string_view name);

std::uint32_t read_register(const Target& target, cpu_register_t which);
Registers read_registers(const Target& target);

/// The instruction's bytes at the address as the CPU fetches them, "f000 f801"; "????" where nothing can be read.
std::string read_instruction(const Target& target, std::uint32_t pc);

struct Location
{
    std::string text; ///< "PC 0x00000412  4603       SP 0x20010000  LR 0x00000401  xPSR 0x61000000"
    Json json;
};
Location describe_location(const Target& target, const Registers& registers);

/// "r0 0x00000000 -> 0x00000001, ..." of those that differ.
std::string describe_changes(const Registers& before, const Registers& after);

} // namespace tessit::cli
