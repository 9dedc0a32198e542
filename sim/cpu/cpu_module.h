#pragma once

#include "sim/cpu/cpu.h"

namespace jlinksim {

/// The engine's library is large, and most commands execute nothing: where the simulation is a library of its own, the
/// engine is a module beside it that is loaded with the first CPU. This is the one function that the module exports.
using MakeCpuOfModule = Cpu*(CpuBus& bus);
inline constexpr const char* make_cpu_of_module = "jlinksim_make_cpu";

} // namespace jlinksim
