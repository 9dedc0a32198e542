/// Numbers, sizes and address ranges as they are typed on the command line.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace tessit::cli {

/// A span of target addresses. It may end at 4 GiB, hence the 64 bits.
struct Range
{
    std::uint32_t first = 0;
    std::uint64_t length = 0; ///< bytes

    std::uint64_t end() const { return first + length; } ///< the first address after it
    /// `length` for a copy of it in memory. Pointers of 32 bits cannot reach 4 GiB: there it is more than any copy
    /// holds.
    std::size_t size() const
    {
        return static_cast<std::size_t>(std::min<std::uint64_t>(length, std::numeric_limits<std::size_t>::max()));
    }
    std::size_t offset_of(std::uint64_t address) const { return static_cast<std::size_t>(address - first); }
    bool contains(std::uint64_t address) const { return address >= first && address < end(); }
    bool contains(const Range& other) const { return other.first >= first && other.end() <= end(); }

    friend bool operator==(const Range&, const Range&) = default;
};

/// Each of these throws a Failure with ExitCode::usage that names the text; `what` says in it what the text stands for.

/// Decimal, or hexadecimal with 0x, with an optional k (1024) or M (1048576): 16k, 0x400, 1M. 0 to 4 GiB.
std::uint64_t parse_size(std::string_view text, std::string_view what);

/// As parse_size, but within 32 bits.
std::uint32_t parse_u32(std::string_view text, std::string_view what);

/// As parse_u32, but within 8 bits.
std::uint8_t parse_byte(std::string_view text, std::string_view what);

/// As parse_u32, and a multiple of 4.
std::uint32_t parse_word_address(std::string_view text);

/// Seconds, with a fraction: 2.5. 0 to a million.
std::chrono::duration<double> parse_seconds(std::string_view text, std::string_view option);

/// A-B (B is the first address after the range) or A+LENGTH. Never empty, never beyond 4 GiB.
Range parse_range(std::string_view text);

/// "0x00000000-0x00080000"
std::string format_range(const Range& range);

/// "512 KiB", "1 MiB" where it comes out even, otherwise "1234 bytes".
std::string format_size(std::uint64_t bytes);

/// "1 page", "2 pages"
std::string format_count(std::uint64_t count, std::string_view plural);

} // namespace tessit::cli
