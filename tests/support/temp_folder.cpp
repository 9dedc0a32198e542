#include "tests/support/temp_folder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tessit_test {

TempFolder::TempFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "tessit-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary folder");
    }
    path_ = pattern;
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempFolder::write(std::string_view name, std::string_view content) const
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
