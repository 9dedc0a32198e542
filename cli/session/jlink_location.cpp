#include "cli/session/jlink_location.h"

#include "base/module.h"
#include "cli/failure.h"
#include "cli/platform/platform.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <vector>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

std::string first_existing(const std::vector<fs::path>& places, const std::string& what, const std::string& hint)
{
    const auto found = std::ranges::find_if(places, [](const fs::path& place) {
        std::error_code ignored;
        return fs::exists(place, ignored);
    });
    if (found == places.end()) {
        std::vector<std::string> names;
        std::ranges::transform(places, std::back_inserter(names), [](const fs::path& place) { return place.string(); });
        throw Failure{ExitCode::failure, fmt::format("{} was not found (looked for {})", what, fmt::join(names, ", ")),
                      hint};
    }
    return found->string();
}

} // namespace

std::string find_jlink_library(const Settings& settings)
{
    if (settings.simulated) {
        return find_simulation();
    }
    if (settings.jlink.empty()) {
        return first_existing(platform::jlink_install_places(), "the J-Link library",
                              "Install the J-Link software, name its library with --jlink PATH or TESSIT_JLINK, or try "
                              "the simulated bench with --sim.");
    }
    // A bare file name is for the system's loader to find.
    const bool is_path = settings.jlink.find_first_of("/\\") != std::string::npos;
    std::error_code ignored;
    if (is_path && !fs::exists(settings.jlink, ignored)) {
        throw Failure{ExitCode::failure, fmt::format("the J-Link library {} does not exist", settings.jlink),
                      "Correct --jlink (or TESSIT_JLINK, or the config file); without it the usual install places are "
                      "tried."};
    }
    return settings.jlink;
}

std::string find_simulation()
{
    const fs::path folder = platform::executable_folder();
    const fs::path prefix = folder.parent_path();
    return first_existing({folder / platform::simulation_file_name,
                           prefix / TESSIT_INSTALL_PLUGIN_FOLDER / platform::simulation_file_name},
                          "the simulated J-Link library", "Build or install it together with the command.");
}

std::string why_not_loaded(const std::string& path)
{
    if (const base::Module module = base::load_module(path.c_str()); module != nullptr) {
        base::unload_module(module);
        return "it lacks functions that a J-Link library has";
    }
    const std::string error = base::load_error();
    const std::string begin = path + ": ";
    return error.starts_with(begin) ? error.substr(begin.size()) : error;
}

} // namespace tessit::cli
