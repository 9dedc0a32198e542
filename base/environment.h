/// The environment of this process, in UTF-8 on every system.
#pragma once

#include <string>

namespace tessit::base {

/// Value of a variable; empty when it is not set.
std::string environment(const char* name);

/// Of this process and those that it starts.
void set_environment(const char* name, const std::string& value);

} // namespace tessit::base
