#include "src/platform/sleep.h"

#include <thread>

namespace tessit::platform {

void sleep(std::chrono::milliseconds duration)
{
    std::this_thread::sleep_for(duration);
}

} // namespace tessit::platform
