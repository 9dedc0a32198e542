#pragma once

#include <chrono>

/// What the library needs of the operating system: its dynamic loader and a sleep.
namespace tessit::platform {

/// A loaded library; null is none.
using Module = void*;

/// Load the library at `path`, which goes to the system's loader unchanged. Null when it does not load.
Module load_module(const char* path);

/// Address of an exported function; null when the library has none of this name.
void* find_function(Module module, const char* name);

/// Release a loaded library.
void unload_module(Module module);

/// Sleep on the calling thread for at least this long.
void sleep(std::chrono::milliseconds duration);

} // namespace tessit::platform
