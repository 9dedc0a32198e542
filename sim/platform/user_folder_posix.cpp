#include "sim/platform/user_folder.h"

#include <cstdlib>
#include <stdexcept>

namespace jlinksim::platform {
namespace {

/// Empty when the variable names no folder. A relative path would be another one in every current folder.
std::filesystem::path folder_of(const char* variable)
{
    const char* const value = std::getenv(variable);
    std::filesystem::path folder = value == nullptr ? "" : value;
    return folder.is_absolute() ? folder : std::filesystem::path{};
}

} // namespace

std::filesystem::path user_state_folder()
{
    if (auto folder = folder_of("XDG_STATE_HOME"); !folder.empty()) {
        return folder;
    }
    if (const auto home = folder_of("HOME"); !home.empty()) {
        return home / ".local" / "state";
    }
    throw std::runtime_error(
        "Neither XDG_STATE_HOME nor HOME is the absolute path of a folder for the built-in bench's "
        "state. Set one of them, or JLINKARM_SIM_STATE.");
}

} // namespace jlinksim::platform
