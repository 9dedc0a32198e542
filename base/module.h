/// The system's dynamic loader.
#pragma once

#include <string>

namespace tessit::base {

/// A loaded library; null is none.
using Module = void*;

/// Load the library at `path`, which goes to the system's loader unchanged. Null when it does not load.
Module load_module(const char* path);

/// Why the newest load_module gave null, in the system's words.
std::string load_error();

/// Address of an exported function; null when the library has none of this name.
void* find_function(Module module, const char* name);

/// Release a loaded library.
void unload_module(Module module);

} // namespace tessit::base
