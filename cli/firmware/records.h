/// What the two formats of text records have in common.
#pragma once

#include "cli/failure.h"
#include "cli/firmware/image.h"

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

/// Walks through the lines of a file and knows where it is, for its refusals.
class RecordLines
{
public:
    RecordLines(std::string_view text, std::string name) : rest_{text}, name_{std::move(name)} {}

    /// Moves to the next line that is not blank; false at the end.
    bool next();
    /// The current line without its line end and the blanks around it.
    std::string_view line() const { return line_; }

    [[noreturn]] void refuse(const std::string& reason, const std::string& hint = {}) const;
    [[noreturn]] void refuse_truncated(std::string_view end_record) const;

    /// The bytes that the hexadecimal digits stand for.
    std::vector<std::uint8_t> decode(std::string_view digits) const;

    /// Adds data to the image; an address that is taken is refused.
    void add(Image& image, std::uint32_t address, std::span<const std::uint8_t> bytes) const;

private:
    std::string_view rest_;
    std::string_view line_;
    std::string name_;
    std::size_t number_ = 0;
};

} // namespace tessit::cli
