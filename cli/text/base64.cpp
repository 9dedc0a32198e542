#include "cli/text/base64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace tessit::cli {
namespace {

constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bytes of the character that begins so; 0 where none does.
std::size_t character_length(std::uint8_t first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// Too long a way to write a character, a surrogate, or beyond the last character: told by the second byte.
bool is_possible(std::uint8_t first, std::uint8_t second)
{
    switch (first) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second < 0xA0;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second < 0x90;
    default:
        return true;
    }
}

bool is_continuation(char byte)
{
    return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80;
}

} // namespace

std::string base64(std::string_view bytes)
{
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::string_view group = bytes.substr(i, 3);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            bits = bits << 8 | (k < group.size() ? static_cast<std::uint8_t>(group[k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= group.size() ? digits[bits >> (18 - 6 * k) & 0x3FU] : '=';
        }
    }
    return text;
}

bool is_utf8(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto first = static_cast<std::uint8_t>(bytes.front());
        const std::size_t length = character_length(first);
        if (length == 0 || length > bytes.size() ||
            !std::ranges::all_of(bytes.substr(1, length - 1), is_continuation) ||
            (length > 1 && !is_possible(first, static_cast<std::uint8_t>(bytes[1])))) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

} // namespace tessit::cli
