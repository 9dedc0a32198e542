/// A TOML file of settings, each a value or a list of values.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tessit::cli {

struct ConfigItem
{
    std::string key;
    std::vector<std::string> values; ///< never empty
    std::string place;               ///< "config.toml:3", for messages
};

/// Throws a Failure with ExitCode::usage and this hint that names file and line.
std::vector<ConfigItem> read_config_file(const std::filesystem::path& path, const std::string& hint);

} // namespace tessit::cli
