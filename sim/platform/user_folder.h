#pragma once

#include <filesystem>

namespace jlinksim::platform {

/// Folder for what a user's programs keep between runs. @throws std::runtime_error when there is no home folder
std::filesystem::path user_state_folder();

} // namespace jlinksim::platform
