#include "cli/sim/bench_choice.h"

#include "base/environment.h"

namespace tessit::cli {

BenchChoice::BenchChoice(const Settings& settings)
{
    if (!settings.bench.empty()) {
        base::set_environment("JLINKARM_SIM_BENCH", settings.bench);
    }
    if (settings.fresh) {
        deferral_.emplace(platform::InterruptDeferral::Wait::ends);
        folder_ = platform::make_private_folder("tessit");
        base::set_environment("JLINKARM_SIM_STATE", folder_.string());
    }
}

BenchChoice::~BenchChoice()
{
    if (!folder_.empty()) {
        std::error_code ignored; // what is left in a folder for temporary files harms nobody
        std::filesystem::remove_all(folder_, ignored);
    }
}

} // namespace tessit::cli
