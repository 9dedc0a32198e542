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
/// versions that lie beside each other, the newest first, then folders of libraries. Paths are absolute.
std::vector<JlinkPlace> search_jlink(const platform::JlinkInstallations& installations);

/// Versions as folders of the J-Link software name them: V7.94e is V794e, and newer than V7.9. Null where there is
/// none.
struct JlinkVersion
{
    unsigned major_part = 0;
    unsigned minor_part = 0;
    std::string revision;

    auto operator<=>(const JlinkVersion&) const = default;
};
JlinkVersion jlink_version_in(const std::string& folder_name);

} // namespace tessit::cli
