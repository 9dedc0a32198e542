#include "cli/text/table.h"

#include "base/little_endian.h"
#include "cli/text/lists.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tessit::cli {

std::string format_table(const std::vector<std::vector<std::string>>& rows)
{
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += fmt::format("{:<{}}  ", row[i], widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string format_hex_dump(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t per_line = 16;
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += per_line) {
        const auto line = bytes.subspan(i, std::min(per_line, bytes.size() - i));
        std::string printable;
        std::ranges::transform(line, std::back_inserter(printable), [](std::uint8_t byte) {
            return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
        });
        text += fmt::format("{:08x}  {:<{}}  |{}|\n", address + i, hex(line, " "), per_line * 3 - 1, printable);
    }
    return text;
}

std::string format_word_dump(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t per_line = 16;
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += per_line) {
        text += fmt::format("{:08x} ", address + i);
        for (std::size_t word = i; word < std::min(bytes.size(), i + per_line); word += 4) {
            text += fmt::format(" {:08x}", little_endian::load_u32(bytes.subspan(word, 4)));
        }
        text += '\n';
    }
    return text;
}

} // namespace tessit::cli
