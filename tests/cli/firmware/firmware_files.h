// Temporary files for the tests of the readers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <span>
#include <stdlib.h> // NOLINT(modernize-deprecated-headers): mkdtemp is POSIX
#include <string>
#include <string_view>

namespace tessit::cli::test {

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tessit-test-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(std::string_view name) const { return (path_ / name).string(); }

    std::string write(std::string_view name, std::string_view content) const
    {
        std::ofstream{path_ / name, std::ios::binary} << content;
        return *this / name;
    }

    std::string write(std::string_view name, std::span<const uint8_t> content) const
    {
        return write(name, std::string_view{reinterpret_cast<const char*>(content.data()), content.size()});
    }

private:
    std::filesystem::path path_;
};

} // namespace tessit::cli::test
