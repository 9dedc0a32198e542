/// Which bench a command uses, as its options say.
#pragma once

#include "cli/options/settings.h"
#include "cli/platform/platform.h"

#include <filesystem>
#include <optional>

namespace tessit::cli {

/// Tells the simulation by the environment, which the processes for several boards have from this one. With --fresh the
/// chips' state is in a folder that goes with the object; Ctrl-C is noted meanwhile, so that it does.
class BenchChoice
{
public:
    explicit BenchChoice(const Settings& settings);
    BenchChoice(const BenchChoice&) = delete;
    BenchChoice& operator=(const BenchChoice&) = delete;
    ~BenchChoice();

private:
    std::optional<platform::InterruptDeferral> deferral_;
    std::filesystem::path folder_; ///< empty: none
};

} // namespace tessit::cli
