#pragma once

#include "sim/cpu/cpu.h"

struct uc_struct;

/// The registers of a Unicorn engine, which is not executing, by the indices of CpuState.
namespace jlinksim::unicorn_registers {

/// `index` is below cpu_state_words.
std::uint32_t read(uc_struct& engine, unsigned index);
void write(uc_struct& engine, unsigned index, std::uint32_t value);

CpuState save(uc_struct& engine);
/// Only into an engine that has not executed yet.
void restore(uc_struct& engine, const CpuState& state);

} // namespace jlinksim::unicorn_registers
