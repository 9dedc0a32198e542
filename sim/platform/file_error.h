#pragma once

#include <cctype>
#include <stdexcept>
#include <string>

namespace jlinksim::platform {

/// A file that cannot be used. Says what cannot be done to which file and why, without a capital and a full stop: its
/// catcher tells what the file is for.
class FileError : public std::runtime_error
{
public:
    explicit FileError(const std::string& what) : std::runtime_error{what} {}

    /// For where the file needs no further word.
    std::string sentence() const
    {
        std::string text = what();
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        return text + '.';
    }
};

} // namespace jlinksim::platform
