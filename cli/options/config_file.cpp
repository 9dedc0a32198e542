#include "cli/options/config_file.h"

#include "cli/failure.h"
#include "cli/firmware/file.h"

#include <fmt/format.h>
#include <toml++/toml.h>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

struct Place
{
    const fs::path& path;
    const std::string& hint;

    [[noreturn]] void refuse(std::uint32_t line, std::string_view reason) const
    {
        throw Failure{ExitCode::usage, fmt::format("{}:{}: {}", path.string(), line, reason), hint};
    }
};

toml::table parse(const Place& place)
{
    constexpr std::uint64_t largest = std::uint64_t{1024} * 1024;
    const std::string text = read_file(place.path, largest);
    try {
        return toml::parse(text, place.path.string());
    } catch (const toml::parse_error& error) {
        place.refuse(error.source().begin.line, error.description());
    }
}

std::string text_of(const Place& place, std::string_view key, const toml::node& node)
{
    if (const auto* const text = node.as_string()) {
        return text->get();
    }
    if (const auto* const number = node.as_integer()) {
        return std::to_string(number->get());
    }
    if (const auto* const truth = node.as_boolean()) {
        return truth->get() ? "true" : "false";
    }
    place.refuse(node.source().begin.line,
                 fmt::format("{} is neither a text nor a whole number nor true or false", key));
}

std::vector<std::string> values_of(const Place& place, std::string_view key, const toml::node& node)
{
    const auto* const list = node.as_array();
    if (list == nullptr) {
        return {text_of(place, key, node)};
    }
    if (list->empty()) {
        place.refuse(node.source().begin.line, fmt::format("the list of {} is empty", key));
    }
    std::vector<std::string> values;
    for (const toml::node& item : *list) {
        values.push_back(text_of(place, key, item));
    }
    return values;
}

} // namespace

std::vector<ConfigItem> read_config_file(const fs::path& path, const std::string& hint)
{
    const Place place{path, hint};
    std::vector<ConfigItem> items;
    for (const auto& [key, node] : parse(place)) {
        items.push_back({std::string{key.str()}, values_of(place, key.str(), node),
                         fmt::format("{}:{}", path.string(), node.source().begin.line)});
    }
    return items;
}

} // namespace tessit::cli
