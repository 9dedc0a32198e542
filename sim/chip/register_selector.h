#pragma once

#include "sim/cpu/cpu.h"

#include <cstdint>

/// The registers that a debugger reaches through DCRSR and DCRDR: the general ones, 20 with CONTROL and the masks in
/// one word, 33 FPSCR, 64 to 95 S0 to S31.
namespace jlinksim {

bool is_selector(unsigned selector);
std::uint32_t read_selected(const Cpu& cpu, unsigned selector);
void write_selected(Cpu& cpu, unsigned selector, std::uint32_t value);

} // namespace jlinksim
