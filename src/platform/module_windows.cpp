#include "src/platform/module.h"

#include <windows.h>

namespace tessit::platform {

Module load_module(const char* path)
{
    return LoadLibraryA(path);
}

void* find_function(Module module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void unload_module(Module module)
{
    FreeLibrary(static_cast<HMODULE>(module));
}

void sleep(std::chrono::milliseconds duration)
{
    Sleep(static_cast<DWORD>(duration.count()));
}

} // namespace tessit::platform
