#include "cli/firmware/records.h"

#include <charconv>

namespace tessit::cli {
namespace {

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\f\v";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

bool RecordLines::next()
{
    while (!rest_.empty()) {
        const std::size_t end = rest_.find('\n');
        line_ = trimmed(rest_.substr(0, end));
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        ++number_;
        if (!line_.empty()) {
            return true;
        }
    }
    return false;
}

void RecordLines::refuse(const std::string& reason, const std::string& hint) const
{
    throw Failure{ExitCode::failure, fmt::format("{}:{}: {}", name_, number_, reason),
                  hint.empty() ? "The file is damaged or not of this format; build or copy it again." : hint};
}

void RecordLines::refuse_truncated(std::string_view end_record) const
{
    throw Failure{ExitCode::failure,
                  fmt::format("{}:{}: the file ends without its end record ({})", name_, number_, end_record),
                  "The file is cut short; build or copy it again."};
}

std::vector<std::uint8_t> RecordLines::decode(std::string_view digits) const
{
    if (digits.size() % 2 != 0) {
        refuse("a digit is missing: the record has an odd number of them");
    }
    std::vector<std::uint8_t> bytes(digits.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* const first = digits.data() + 2 * i;
        const auto [end, error] = std::from_chars(first, first + 2, bytes[i], 16);
        if (error != std::errc{} || end != first + 2) {
            refuse(fmt::format("'{}' is not a hexadecimal byte", digits.substr(2 * i, 2)));
        }
    }
    return bytes;
}

void RecordLines::add(Image& image, std::uint32_t address, std::span<const std::uint8_t> bytes) const
{
    if (address + std::uint64_t{bytes.size()} > std::uint64_t{1} << 32) {
        refuse("the data reaches beyond 4 GiB");
    }
    if (const auto taken = image.add(address, bytes)) {
        refuse(fmt::format("address {:#010x} was given already", *taken));
    }
}

} // namespace tessit::cli
