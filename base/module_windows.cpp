#include "base/module.h"

#include <windows.h>

namespace tessit::base {

Module load_module(const char* path)
{
    return LoadLibraryA(path);
}

std::string load_error()
{
    return "system error " + std::to_string(GetLastError());
}

void* find_function(Module module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void unload_module(Module module)
{
    FreeLibrary(static_cast<HMODULE>(module));
}

} // namespace tessit::base
