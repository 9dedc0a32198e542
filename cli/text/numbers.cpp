#include "cli/text/numbers.h"

#include "cli/failure.h"

#include <charconv>
#include <fmt/format.h>
#include <optional>

namespace tessit::cli {
namespace {

constexpr std::uint64_t four_gib = std::uint64_t{1} << 32;

[[noreturn]] void refuse(std::string_view what, std::string_view text, std::string_view reason)
{
    throw Failure{ExitCode::usage, fmt::format("the {} '{}' {}", what, text, reason),
                  "Numbers are decimal or 0x hexadecimal, and may end in k (1024) or M (1048576): 4096, 0x1000, 4k."};
}

std::uint64_t unit_of(char last)
{
    switch (last) {
    case 'k':
    case 'K':
        return 1024;
    case 'M':
        return std::uint64_t{1024} * 1024;
    default:
        return 1;
    }
}

std::optional<std::uint64_t> parse_digits(std::string_view text)
{
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    if (is_hex) {
        text.remove_prefix(2);
    }
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, is_hex ? 16 : 10);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::uint64_t parse_scaled(std::string_view text, std::string_view what, std::uint64_t largest,
                           std::string_view too_large)
{
    const std::uint64_t unit = text.empty() ? 1 : unit_of(text.back());
    const std::optional<std::uint64_t> value = parse_digits(unit == 1 ? text : text.substr(0, text.size() - 1));
    if (!value) {
        refuse(what, text, "is not a number");
    }
    if (*value > largest / unit) {
        refuse(what, text, too_large);
    }
    return *value * unit;
}

} // namespace

std::uint64_t parse_size(std::string_view text, std::string_view what)
{
    return parse_scaled(text, what, four_gib, "is larger than 4 GiB");
}

std::uint32_t parse_u32(std::string_view text, std::string_view what)
{
    return static_cast<std::uint32_t>(parse_scaled(text, what, four_gib - 1, "does not fit into 32 bits"));
}

std::uint8_t parse_byte(std::string_view text, std::string_view what)
{
    const std::uint32_t value = parse_u32(text, what);
    if (value > 0xFF) {
        throw Failure{ExitCode::usage, fmt::format("the {} '{}' is larger than 0xff", what, text),
                      "It is a number of 8 bits, 0 to 0xff."};
    }
    return static_cast<std::uint8_t>(value);
}

std::uint32_t parse_word_address(std::string_view text)
{
    const std::uint32_t address = parse_u32(text, "address");
    if (address % 4 != 0) {
        throw Failure{ExitCode::usage, fmt::format("the address '{}' is not a multiple of 4", text),
                      fmt::format("The word that holds it begins at {:#010x}.", address & ~3U)};
    }
    return address;
}

std::chrono::duration<double> parse_seconds(std::string_view text, std::string_view option)
{
    constexpr double longest = 1e6;
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool is_number = error == std::errc{} && end == text.data() + text.size();
    if (!is_number || !(seconds >= 0 && seconds <= longest)) {
        throw Failure{ExitCode::usage, fmt::format("{}: '{}' is not a time from 0 to {:.0f}", option, text, longest),
                      "Give it in seconds, for example 2.5."};
    }
    return std::chrono::duration<double>{seconds};
}

Range parse_range(std::string_view text)
{
    const std::size_t separator = text.find_first_of("-+");
    if (separator == std::string_view::npos) {
        throw Failure{ExitCode::usage, fmt::format("'{}' is not a range", text),
                      "A range is FIRST-END, where END is the first address after it, or FIRST+LENGTH: 0x1000-0x2000, "
                      "0x1000+4k."};
    }
    const std::uint32_t first = parse_u32(text.substr(0, separator), "start of the range");
    const std::string_view second = text.substr(separator + 1);
    const bool has_length = text[separator] == '+';
    const std::uint64_t end =
        has_length ? first + parse_size(second, "length of the range") : parse_size(second, "end of the range");
    if (end <= first) {
        throw Failure{ExitCode::usage, fmt::format("the range '{}' is empty", text),
                      "The end of a range is the first address after it, so it lies above its start."};
    }
    if (end > four_gib) {
        throw Failure{ExitCode::usage, fmt::format("the range '{}' ends beyond 4 GiB", text),
                      "Addresses have 32 bits; the highest end is 0x100000000."};
    }
    return {first, end - first};
}

std::string format_range(const Range& range)
{
    return fmt::format("{:#010x}-{:#010x}", range.first, range.end());
}

std::string format_size(std::uint64_t bytes)
{
    constexpr std::uint64_t kib = 1024;
    constexpr std::uint64_t mib = kib * kib;
    if (bytes >= mib && bytes % mib == 0) {
        return fmt::format("{} MiB", bytes / mib);
    }
    if (bytes >= kib && bytes % kib == 0) {
        return fmt::format("{} KiB", bytes / kib);
    }
    return format_count(bytes, "bytes");
}

std::string format_count(std::uint64_t count, std::string_view plural)
{
    const bool is_one = count == 1 && plural.ends_with('s');
    return fmt::format("{} {}", count, is_one ? plural.substr(0, plural.size() - 1) : plural);
}

} // namespace tessit::cli
