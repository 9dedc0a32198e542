#include "src/jlink/call_site.h"

#include <algorithm>

namespace tessit {
namespace {

std::string_view base_name(std::string_view path)
{
    const auto slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

} // namespace

unsigned CallSite::number() const
{
    constexpr unsigned lines_per_file = 10000;
    const auto place = std::ranges::find(jlink_calling_files, base_name(file)) - jlink_calling_files.begin();
    return static_cast<unsigned>(place) * lines_per_file + line;
}

} // namespace tessit
