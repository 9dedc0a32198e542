/// "{serial}" in the name of a file stands for the serial number of the probe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessit::cli {

inline constexpr std::string_view serial_mark = "{serial}";

inline bool has_serial_mark(std::string_view text)
{
    return text.find(serial_mark) != std::string_view::npos;
}

/// The text with the number in the place of each mark.
inline std::string with_serial(std::string text, std::uint32_t serial)
{
    for (std::size_t at = text.find(serial_mark); at != std::string::npos; at = text.find(serial_mark)) {
        text.replace(at, serial_mark.size(), std::to_string(serial));
    }
    return text;
}

} // namespace tessit::cli
