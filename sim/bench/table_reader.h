#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jlinksim {

/// Reads a table of a TOML file, refusing what is not expected: every message names file and line.
class TableReader
{
public:
    /// The whole of a file, or of a text under a name. @throws std::runtime_error "FILE:LINE: reason"
    static TableReader of_file(const std::string& path);
    static TableReader of_text(std::string_view text, std::string name);

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
    /// The parser's header is slow to compile: what needs its types stays in the source.
    struct Table;
    explicit TableReader(std::shared_ptr<Table> table) : table_(std::move(table)) {}

    std::shared_ptr<Table> table_;
};

} // namespace jlinksim
