/// Where the J-Link software lies on this machine.
#pragma once

#include "cli/platform/platform.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tessit::cli {

/// A library that the J-Link software may have put somewhere.
struct JlinkPlace
{
    std::filesystem::path library;
    std::string reason; ///< why it is not taken; empty for the one that is
};

/// Every place that is looked at, in the order of preference: the installation that is in use by its own account, then
/// versions that lie beside each other, the newest first, then folders of libraries. Paths are absolute. V7.94e, which
/// folders also write V794e, is newer than V7.9.
std::vector<JlinkPlace> search_jlink(const platform::JlinkInstallations& installations);

} // namespace tessit::cli
