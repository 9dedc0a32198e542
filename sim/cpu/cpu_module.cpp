// The engine as a module.
#include "sim/cpu/cpu_module.h"

extern "C" __attribute__((visibility("default"))) jlinksim::MakeCpuOfModule jlinksim_make_cpu;

jlinksim::Cpu* jlinksim_make_cpu(jlinksim::CpuBus& bus)
{
    return jlinksim::make_cpu(bus).release();
}
