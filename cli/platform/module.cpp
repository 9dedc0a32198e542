#include "base/module.h"
#include "cli/failure.h"
#include "cli/platform/platform.h"

#include <fmt/format.h>

namespace tessit::cli::platform {

Module::Module(const std::filesystem::path& path) : handle_{base::load_module(loadable_name(path).c_str())}
{
    if (handle_ == nullptr) {
        throw Failure{ExitCode::failure, fmt::format("cannot load {}: {}", path.string(), base::load_error()),
                      "Install the command and its libraries again."};
    }
}

Module::~Module()
{
    base::unload_module(handle_);
}

void* Module::find(const char* name) const
{
    return base::find_function(handle_, name);
}

} // namespace tessit::cli::platform
