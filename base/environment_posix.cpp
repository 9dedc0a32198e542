#include "base/environment.h"

#include <cstdlib>

namespace tessit::base {

std::string environment(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): one thread
    return value == nullptr ? "" : value;
}

void set_environment(const char* name, const std::string& value)
{
    setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe): one thread
}

} // namespace tessit::base
