// make_cpu where the engine is a module.
#include "base/module.h"
#include "sim/cpu/cpu_module.h"
#include "sim/platform/own_folder.h"

#include <stdexcept>

namespace jlinksim {
namespace {

/// It stays loaded, whoever unloads the simulation: CPUs may live up to the very end, and loading it takes its time.
MakeCpuOfModule* load_engine()
{
    const std::string path = platform::own_folder() + "/" JLINKSIM_CPU_MODULE;
    const tessit::base::Module module = tessit::base::load_module(path.c_str());
    if (module == nullptr) {
        throw std::runtime_error("The CPU of simulated chips cannot be loaded: " + tessit::base::load_error());
    }
    return reinterpret_cast<MakeCpuOfModule*>(tessit::base::find_function(module, make_cpu_of_module));
}

} // namespace

std::unique_ptr<Cpu> make_cpu(CpuBus& bus)
{
    static MakeCpuOfModule* const make = load_engine();
    return std::unique_ptr<Cpu>{make(bus)};
}

} // namespace jlinksim
