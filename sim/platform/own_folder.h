#pragma once

#include <string>

namespace jlinksim::platform {

/// The folder of the library or program that this code is part of.
std::string own_folder();

} // namespace jlinksim::platform
