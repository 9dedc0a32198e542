#include "sim/platform/user_folder.h"

#include "base/environment.h"
#include "base/path.h"

#include <stdexcept>

namespace jlinksim::platform {

std::filesystem::path user_state_folder()
{
    if (const std::filesystem::path folder = tessit::base::path_of(tessit::base::environment("LOCALAPPDATA"));
        folder.is_absolute()) {
        return folder;
    }
    throw std::runtime_error(
        "LOCALAPPDATA is not the absolute path of a folder for the built-in bench's state. Set it, or "
        "JLINKARM_SIM_STATE.");
}

} // namespace jlinksim::platform
