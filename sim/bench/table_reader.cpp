#include "sim/bench/table_reader.h"

#include "sim/platform/file_error.h"
#include "sim/platform/read_file.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <stdexcept>

namespace jlinksim {
namespace {

constexpr std::uintmax_t largest_file = 1 << 20;

toml::table parse(std::string_view text, std::string_view name)
{
    try {
        return toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        throw std::runtime_error(fmt::format("{}:{}: {}.", name, error.source().begin.line, error.description()));
    }
}

} // namespace

toml::table parse_toml_file(const std::filesystem::path& path)
{
    try {
        return parse(platform::read_file(path, largest_file), path.string());
    } catch (const platform::FileError& error) {
        throw std::runtime_error(error.sentence());
    }
}

toml::table parse_toml_text(std::string_view text)
{
    return parse(text, "built-in bench");
}

void TableReader::fail(const std::string& key, std::string_view reason) const
{
    const toml::node* const node = table_.get(key);
    const auto line = (node == nullptr ? table_.source() : node->source()).begin.line;
    throw std::runtime_error(fmt::format("{}:{}: {}: {}.", file_, line, key, reason));
}

const toml::node* TableReader::find(const std::string& key)
{
    asked_.insert(key);
    return table_.get(key);
}

const toml::node& TableReader::require(const std::string& key)
{
    const toml::node* const node = find(key);
    if (node == nullptr) {
        fail(key, "is missing here");
    }
    return *node;
}

bool TableReader::flag(const std::string& key, bool otherwise)
{
    const toml::node* const node = find(key);
    if (node == nullptr) {
        return otherwise;
    }
    if (!node->is_boolean()) {
        fail(key, "expected true or false");
    }
    return node->as_boolean()->get();
}

std::uint32_t TableReader::to_number(const std::string& key, const toml::node& node, std::uint32_t lowest,
                                     std::uint32_t highest) const
{
    const auto* const integer = node.as_integer();
    if (integer == nullptr || integer->get() < lowest || integer->get() > highest) {
        fail(key, fmt::format("expected a whole number from {} to {}", lowest, highest));
    }
    return static_cast<std::uint32_t>(integer->get());
}

std::uint32_t TableReader::number(const std::string& key, std::uint32_t otherwise, std::uint32_t lowest,
                                  std::uint32_t highest)
{
    const toml::node* const node = find(key);
    return node == nullptr ? otherwise : to_number(key, *node, lowest, highest);
}

std::uint32_t TableReader::required_number(const std::string& key, std::uint32_t lowest, std::uint32_t highest)
{
    return to_number(key, require(key), lowest, highest);
}

std::string TableReader::to_text(const std::string& key, const toml::node& node) const
{
    if (!node.is_string()) {
        fail(key, "expected a text in quotes");
    }
    return node.as_string()->get();
}

std::string TableReader::text(const std::string& key, std::string_view otherwise)
{
    const toml::node* const node = find(key);
    return node == nullptr ? std::string{otherwise} : to_text(key, *node);
}

std::string TableReader::required_text(const std::string& key)
{
    return to_text(key, require(key));
}

const toml::array* TableReader::find_array(const std::string& key)
{
    const toml::node* const node = find(key);
    if (node != nullptr && !node->is_array()) {
        fail(key, "expected a list in brackets");
    }
    return node == nullptr ? nullptr : node->as_array();
}

std::vector<std::uint32_t> TableReader::numbers(const std::string& key, std::uint32_t lowest, std::uint32_t highest)
{
    std::vector<std::uint32_t> values;
    if (const toml::array* const array = find_array(key)) {
        std::ranges::transform(*array, std::back_inserter(values),
                               [&](const toml::node& node) { return to_number(key, node, lowest, highest); });
    }
    return values;
}

std::vector<std::string> TableReader::texts(const std::string& key)
{
    std::vector<std::string> values;
    if (const toml::array* const array = find_array(key)) {
        std::ranges::transform(*array, std::back_inserter(values),
                               [&](const toml::node& node) { return to_text(key, node); });
    }
    return values;
}

std::optional<TableReader> TableReader::table(const std::string& key)
{
    const toml::node* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (!node->is_table()) {
        fail(key, "expected a table");
    }
    return TableReader{file_, *node->as_table()};
}

std::vector<TableReader> TableReader::tables(const std::string& key)
{
    std::vector<TableReader> readers;
    if (const toml::array* const array = find_array(key)) {
        for (const toml::node& node : *array) {
            if (!node.is_table()) {
                fail(key, fmt::format("expected [[{}]]", key));
            }
            readers.emplace_back(file_, *node.as_table());
        }
    }
    return readers;
}

std::vector<std::string> TableReader::keys() const
{
    std::vector<std::string> names;
    for (const auto& [key, node] : table_) {
        names.emplace_back(key.str());
    }
    return names;
}

void TableReader::refuse_unknown_keys() const
{
    for (const std::string& key : keys()) {
        if (!asked_.contains(key)) {
            fail(key, "is not known here");
        }
    }
}

} // namespace jlinksim
