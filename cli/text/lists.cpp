#include "cli/text/lists.h"

#include <fmt/format.h>

namespace tessit::cli {

std::string joined(std::span<const std::string> words, std::string_view between)
{
    return fmt::format("{}", fmt::join(words, between));
}

std::string joined(std::span<const std::string_view> words, std::string_view between)
{
    return fmt::format("{}", fmt::join(words, between));
}

std::string joined(std::span<const std::uint32_t> numbers)
{
    return fmt::format("{}", fmt::join(numbers, ", "));
}

std::string hex(std::span<const std::uint8_t> bytes, std::string_view between)
{
    return fmt::format("{:02x}", fmt::join(bytes, between));
}

} // namespace tessit::cli
