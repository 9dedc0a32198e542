#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tessit_test {

/// A folder of its own, removed with all it holds at the end.
class TempFolder
{
public:
    TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder();

    const std::filesystem::path& path() const { return path_; }
    /// Write a file into it and return its path.
    std::filesystem::path write(const std::filesystem::path& name, std::string_view content) const;
    std::string read(std::string_view name) const;

private:
    std::filesystem::path path_;
};

} // namespace tessit_test
