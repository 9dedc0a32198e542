#include "base/module.h"

#include <dlfcn.h>

namespace tessit::base {

Module load_module(const char* path)
{
    // Bound at once, so that a library that cannot work is refused here; local, so that its symbols stay its own.
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

std::string load_error()
{
    const char* const text = dlerror(); // NOLINT(concurrency-mt-unsafe): of the calling thread
    return text != nullptr ? text : "";
}

void* find_function(Module module, const char* name)
{
    return dlsym(module, name);
}

void unload_module(Module module)
{
    dlclose(module);
}

} // namespace tessit::base
