/// Texts in columns.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tessit::cli {

/// Rows of a table, each cell padded to its column's widest; the first row is the heading and may be empty.
std::string format_table(const std::vector<std::vector<std::string>>& rows);

/// "00000000  48 65 6c 6c 6f ...  |Hello...|", 16 bytes a line.
std::string format_hex_dump(std::uint32_t address, std::span<const std::uint8_t> bytes);

/// "20000000  00000001 deadbeef ...", 4 words a line; whole words only.
std::string format_word_dump(std::uint32_t address, std::span<const std::uint8_t> bytes);

} // namespace tessit::cli
