#include "src/platform/module.h"

#include <dlfcn.h>

#include <thread>

namespace tessit::platform {

Module load_module(const char* path)
{
    // Bound at once, so that a library that cannot work is refused here; local, so that its symbols stay its own.
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* find_function(Module module, const char* name)
{
    return dlsym(module, name);
}

void unload_module(Module module)
{
    dlclose(module);
}

void sleep(std::chrono::milliseconds duration)
{
    std::this_thread::sleep_for(duration);
}

} // namespace tessit::platform
