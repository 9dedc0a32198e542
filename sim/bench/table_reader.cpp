#include "sim/bench/table_reader.h"

#include "base/path.h"
#include "sim/platform/file_error.h"
#include "sim/platform/read_file.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <set>
#include <stdexcept>
#include <toml++/toml.h>

namespace jlinksim {
namespace {

constexpr std::uintmax_t largest_file = 1 << 20;

using Document = std::shared_ptr<const toml::table>;

Document parse(std::string_view text, std::string_view name)
{
    try {
        return std::make_shared<const toml::table>(toml::parse(text, name));
    } catch (const toml::parse_error& error) {
        throw std::runtime_error(fmt::format("{}:{}: {}.", name, error.source().begin.line, error.description()));
    }
}

std::string read(const std::string& path)
{
    try {
        return platform::read_file(tessit::base::path_of(path), largest_file);
    } catch (const platform::FileError& error) {
        throw std::runtime_error(error.sentence());
    }
}

} // namespace

/// A table, the document that it is in, and which of its keys were asked for.
struct TableReader::Table
{
    std::string file;
    Document document;
    const toml::table* entries;
    std::set<std::string, std::less<>> asked{};

    [[noreturn]] void fail(const std::string& key, std::string_view reason) const;
    const toml::node* find(const std::string& key);
    const toml::node& require(const std::string& key);
    const toml::array* find_array(const std::string& key);
    std::uint32_t to_number(const std::string& key, const toml::node& node, std::uint32_t lowest,
                            std::uint32_t highest) const;
    std::string to_text(const std::string& key, const toml::node& node) const;
    TableReader within(const toml::table& inner) const;
};

TableReader TableReader::of_file(const std::string& path)
{
    return of_text(read(path), path);
}

TableReader TableReader::of_text(std::string_view text, std::string name)
{
    Document document = parse(text, name);
    const toml::table* const entries = document.get();
    return TableReader{std::make_shared<Table>(Table{std::move(name), std::move(document), entries})};
}

TableReader TableReader::Table::within(const toml::table& inner) const
{
    return TableReader{std::make_shared<Table>(Table{file, document, &inner})};
}

void TableReader::fail(const std::string& key, std::string_view reason) const
{
    table_->fail(key, reason);
}

void TableReader::Table::fail(const std::string& key, std::string_view reason) const
{
    const toml::node* const node = entries->get(key);
    const auto line = (node == nullptr ? entries->source() : node->source()).begin.line;
    throw std::runtime_error(fmt::format("{}:{}: {}: {}.", file, line, key, reason));
}

const toml::node* TableReader::Table::find(const std::string& key)
{
    asked.insert(key);
    return entries->get(key);
}

const toml::node& TableReader::Table::require(const std::string& key)
{
    const toml::node* const node = find(key);
    if (node == nullptr) {
        fail(key, "is missing here");
    }
    return *node;
}

bool TableReader::flag(const std::string& key, bool otherwise)
{
    const toml::node* const node = table_->find(key);
    if (node == nullptr) {
        return otherwise;
    }
    if (!node->is_boolean()) {
        fail(key, "expected true or false");
    }
    return node->as_boolean()->get();
}

std::uint32_t TableReader::Table::to_number(const std::string& key, const toml::node& node, std::uint32_t lowest,
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
    const toml::node* const node = table_->find(key);
    return node == nullptr ? otherwise : table_->to_number(key, *node, lowest, highest);
}

std::uint32_t TableReader::required_number(const std::string& key, std::uint32_t lowest, std::uint32_t highest)
{
    return table_->to_number(key, table_->require(key), lowest, highest);
}

std::string TableReader::Table::to_text(const std::string& key, const toml::node& node) const
{
    if (!node.is_string()) {
        fail(key, "expected a text in quotes");
    }
    return node.as_string()->get();
}

std::string TableReader::text(const std::string& key, std::string_view otherwise)
{
    const toml::node* const node = table_->find(key);
    return node == nullptr ? std::string{otherwise} : table_->to_text(key, *node);
}

std::string TableReader::required_text(const std::string& key)
{
    return table_->to_text(key, table_->require(key));
}

const toml::array* TableReader::Table::find_array(const std::string& key)
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
    if (const toml::array* const array = table_->find_array(key)) {
        std::ranges::transform(*array, std::back_inserter(values),
                               [&](const toml::node& node) { return table_->to_number(key, node, lowest, highest); });
    }
    return values;
}

std::vector<std::string> TableReader::texts(const std::string& key)
{
    std::vector<std::string> values;
    if (const toml::array* const array = table_->find_array(key)) {
        std::ranges::transform(*array, std::back_inserter(values),
                               [&](const toml::node& node) { return table_->to_text(key, node); });
    }
    return values;
}

std::optional<TableReader> TableReader::table(const std::string& key)
{
    const toml::node* const node = table_->find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (!node->is_table()) {
        fail(key, "expected a table");
    }
    return table_->within(*node->as_table());
}

std::vector<TableReader> TableReader::tables(const std::string& key)
{
    std::vector<TableReader> readers;
    if (const toml::array* const array = table_->find_array(key)) {
        for (const toml::node& node : *array) {
            if (!node.is_table()) {
                fail(key, fmt::format("expected [[{}]]", key));
            }
            readers.push_back(table_->within(*node.as_table()));
        }
    }
    return readers;
}

std::vector<std::string> TableReader::keys() const
{
    std::vector<std::string> names;
    for (const auto& [key, node] : *table_->entries) {
        names.emplace_back(key.str());
    }
    return names;
}

void TableReader::refuse_unknown_keys() const
{
    for (const std::string& key : keys()) {
        if (!table_->asked.contains(key)) {
            fail(key, fmt::format("is not known here; known are {}", fmt::join(table_->asked, ", ")));
        }
    }
}

} // namespace jlinksim
