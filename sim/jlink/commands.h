#pragma once

#include "sim/jlink/session.h"

#include <string>
#include <string_view>

namespace jlinksim {

/// Carry out a command text of JLINKARM_ExecCommand. Returns what is wrong, empty when done.
std::string execute_command(Session& session, std::string_view command);

} // namespace jlinksim
