#include "tests/support/temp_folder.h"

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

namespace tessit_test {

TempFolder::TempFolder()
{
    path_ = std::filesystem::temp_directory_path() / ("tessit-test-" + std::to_string(std::random_device{}()));
    if (!std::filesystem::create_directory(path_)) {
        throw std::runtime_error("cannot make a temporary folder");
    }
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempFolder::write(const std::filesystem::path& name, std::string_view content) const
{
    std::filesystem::path path = path_ / name;
    std::ofstream file{path, std::ios::binary};
    file << content;
    return path;
}

std::string TempFolder::read(std::string_view name) const
{
    std::ifstream file{path_ / name, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

} // namespace tessit_test
