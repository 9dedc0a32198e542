#include "sim/witness/trace.h"

#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace jlinksim {

void Trace::append_to(const std::filesystem::path& path)
{
    file_.open(path, std::ios::app);
    if (!file_) {
        throw std::runtime_error(fmt::format("Cannot open {} of JLINKARM_SIM_TRACE.", path.string()));
    }
}

void Trace::start()
{
    lines_.clear();
    listing_ = true;
}

void Trace::add(std::string line)
{
    if (file_.is_open()) {
        file_ << line << '\n';
        file_.flush();
    }
    if (listing_) {
        lines_.push_back(std::move(line));
    }
}

} // namespace jlinksim
