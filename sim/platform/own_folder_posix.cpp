#include "sim/platform/own_folder.h"

#include <dlfcn.h>
#include <filesystem>

namespace jlinksim::platform {

std::string own_folder()
{
    Dl_info place{};
    dladdr(reinterpret_cast<const void*>(&own_folder), &place); // knows every address of a loaded file
    return std::filesystem::absolute(place.dli_fname).parent_path();
}

} // namespace jlinksim::platform
