#include "sim/cpu/cpu.h"

#if defined(JLINKSIM_CPU_UNICORN)
#include "sim/cpu/unicorn_cpu.h"
#else
#include "sim/cpu/register_file_cpu.h"
#endif

namespace jlinksim {

#if defined(JLINKSIM_CPU_UNICORN)
std::unique_ptr<Cpu> make_cpu(CpuBus& bus)
{
    return std::make_unique<UnicornCpu>(bus);
}
#else
std::unique_ptr<Cpu> make_cpu(CpuBus& /*bus*/)
{
    return std::make_unique<RegisterFileCpu>();
}
#endif

} // namespace jlinksim
