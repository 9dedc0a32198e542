#include "cli/session/jlink_location.h"

#include "base/module.h"
#include "base/path.h"
#include "cli/failure.h"
#include "cli/platform/platform.h"
#include "cli/session/jlink_search.h"
#include "cli/text/lists.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <vector>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

std::string installed_library()
{
    const std::vector<JlinkPlace> places = search_jlink(platform::jlink_installations());
    const auto taken = std::ranges::find(places, "", &JlinkPlace::reason);
    if (taken == places.end()) {
        std::vector<std::string> names;
        std::ranges::transform(places, std::back_inserter(names),
                               [](const JlinkPlace& place) { return place.library.string(); });
        throw Failure{ExitCode::failure, fmt::format("the J-Link library was not found (looked for {})", joined(names)),
                      "Install the J-Link software, name its library with --jlink PATH or TESSIT_JLINK, or try the "
                      "simulated bench with --sim."};
    }
    return taken->library.string();
}

} // namespace

std::string find_jlink_library(const Settings& settings)
{
    if (settings.simulated) {
        return find_simulation();
    }
    if (settings.jlink.empty()) {
        return installed_library();
    }
    // A bare file name is for the system's loader to find.
    const bool is_path = settings.jlink.find_first_of("/\\") != std::string::npos;
    std::error_code ignored;
    if (is_path && !fs::exists(base::path_of(settings.jlink), ignored)) {
        throw Failure{ExitCode::failure, fmt::format("the J-Link library {} does not exist", settings.jlink),
                      "Correct --jlink (or TESSIT_JLINK, or the config file); without it the usual install places are "
                      "tried."};
    }
    return settings.jlink;
}

std::string find_simulation()
{
    const fs::path folder = platform::executable().parent_path();
    const fs::path beside = folder / platform::simulation_file_name;
    const fs::path installed = folder.parent_path() / TESSIT_INSTALL_PLUGIN_FOLDER / platform::simulation_file_name;
    std::error_code ignored;
    for (const fs::path& place : {beside, installed}) {
        if (fs::exists(place, ignored)) {
            return place.string();
        }
    }
    throw Failure{ExitCode::failure,
                  fmt::format("the simulated J-Link library was not found (looked for {}, {})", beside.string(),
                              installed.string()),
                  "Build or install it together with the command."};
}

std::string why_not_loaded(const std::string& path)
{
    if (const base::Module module = base::load_module(platform::loadable_name(base::path_of(path)).c_str());
        module != nullptr) {
        base::unload_module(module);
        return "it lacks functions that a J-Link library has";
    }
    const std::string error = base::load_error();
    const std::string begin = path + ": ";
    return error.starts_with(begin) ? error.substr(begin.size()) : error;
}

} // namespace tessit::cli
