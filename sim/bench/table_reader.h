#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

namespace jlinksim {

/// @throws std::runtime_error "FILE:LINE: reason"
toml::table parse_toml_file(const std::filesystem::path& path);
toml::table parse_toml_text(std::string_view text);

/// Reads a table of a TOML file, refusing what is not expected: every message names file and line.
class TableReader
{
public:
    /// The table outlives the reader.
    TableReader(std::string file, const toml::table& table) : file_(std::move(file)), table_(table) {}

    bool flag(const std::string& key, bool otherwise);
    std::uint32_t number(const std::string& key, std::uint32_t otherwise, std::uint32_t lowest, std::uint32_t highest);
    std::uint32_t required_number(const std::string& key, std::uint32_t lowest, std::uint32_t highest);
    std::string text(const std::string& key, std::string_view otherwise);
    std::string required_text(const std::string& key);
    std::vector<std::uint32_t> numbers(const std::string& key, std::uint32_t lowest, std::uint32_t highest);
    std::vector<std::string> texts(const std::string& key);
    std::optional<TableReader> table(const std::string& key);
    std::vector<TableReader> tables(const std::string& key);
    std::vector<std::string> keys() const;

    /// Every key that nothing asked for is a mistake, most often of spelling.
    void refuse_unknown_keys() const;
    /// @throws std::runtime_error for the key's line, or the table's where there is no such key
    [[noreturn]] void fail(const std::string& key, std::string_view reason) const;

private:
    const toml::node* find(const std::string& key);
    const toml::node& require(const std::string& key);
    const toml::array* find_array(const std::string& key);
    std::uint32_t to_number(const std::string& key, const toml::node& node, std::uint32_t lowest,
                            std::uint32_t highest) const;
    std::string to_text(const std::string& key, const toml::node& node) const;

    std::string file_;
    const toml::table& table_;
    std::set<std::string, std::less<>> asked_;
};

} // namespace jlinksim
