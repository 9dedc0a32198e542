#include "sim/witness/line_file.h"

#include "base/file.h"
#include "base/path.h"

#include <cerrno>
#include <fmt/core.h>
#include <stdexcept>
#include <system_error>

namespace jlinksim {

void LineFile::open(const std::string& path, const char* variable)
{
    file_.reset(tessit::base::open_file(tessit::base::path_of(path), "a"));
    if (file_ == nullptr) {
        const std::string reason = std::generic_category().message(errno);
        throw std::runtime_error(fmt::format("Cannot open {} of {}: {}.", path, variable, reason));
    }
    std::fseek(file_.get(), 0, SEEK_END);
}

void LineFile::add(const std::string& line)
{
    std::fputs((line + '\n').c_str(), file_.get());
    std::fflush(file_.get());
}

} // namespace jlinksim
