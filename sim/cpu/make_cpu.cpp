#include "cpu/cpu.h"
#include "cpu/register_file_cpu.h"

namespace jlinksim {

std::unique_ptr<Cpu> make_cpu(CpuBus& /*bus*/)
{
    return std::make_unique<RegisterFileCpu>();
}

} // namespace jlinksim
