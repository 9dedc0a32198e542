/// Where the CPU is, and what changed in it; shared by `halt` and `step`.
#pragma once

#include "cli/chip/cpu_registers.h"
#include "cli/session/target.h"
#include "cli/terminal/console.h"

#include <cstdint>
#include <string>

namespace tessit::cli {

/// The instruction's bytes at the address as the CPU fetches them, "f000 f801"; "????" where nothing can be read.
std::string read_instruction(const Target& target, std::uint32_t pc);

struct Location
{
    std::string text; ///< "PC 0x00000412  4603       SP 0x20010000  LR 0x00000401  xPSR 0x61000000"
    Json json;
};
Location describe_location(const Target& target, const Registers& registers);

/// Of those that differ.
struct Changes
{
    std::string text; ///< "r0 0x00000000 -> 0x00000001, ...", or that there is none
    Json json;
};
Changes describe_changes(const Registers& before, const Registers& after);

} // namespace tessit::cli
