#pragma once

#include <chrono>

namespace tessit::platform {

/// Sleep on the calling thread for at least this long.
void sleep(std::chrono::milliseconds duration);

} // namespace tessit::platform
