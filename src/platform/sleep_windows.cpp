#include "src/platform/sleep.h"

#include <windows.h>

namespace tessit::platform {

void sleep(std::chrono::milliseconds duration)
{
    Sleep(static_cast<DWORD>(duration.count()));
}

} // namespace tessit::platform
