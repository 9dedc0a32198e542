/// Formatted writing to a stream that never throws: whether standard output took everything is asked once, at the end,
/// and the library's log callback must not throw at all.
#pragma once

#include <cstdio>
#include <fmt/format.h>
#include <string>

namespace tessit::cli {

template <typename... Args>
void print_to(std::FILE* stream, fmt::format_string<Args...> format, Args&&... args)
{
    const std::string text = fmt::format(format, std::forward<Args>(args)...);
    std::fwrite(text.data(), 1, text.size(), stream); // NOLINT(cert-err33-c): see above
}

} // namespace tessit::cli
