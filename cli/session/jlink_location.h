/// Where the J-Link library is.
#pragma once

#include "cli/options/settings.h"

#include <string>

namespace tessit::cli {

/// The library that --jlink, TESSIT_JLINK or the config file names; else the first that is installed in one of the
/// usual places. Never the simulation, unless --sim was given. Throws a Failure that lists where it was looked for.
std::string find_jlink_library(const Settings& settings);

/// The simulated library beside the command, or in the library folder of its installation.
std::string find_simulation();

/// Of a library that TESSIT_open_dll could not load: why, in the system's words.
std::string why_not_loaded(const std::string& path);

} // namespace tessit::cli
