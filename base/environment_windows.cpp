#include "base/environment.h"

#include "base/wide.h"

#include <windows.h>

namespace tessit::base {

// The system's own, not the copy of the C run time: each library may have another one of that.
std::string environment(const char* name)
{
    const std::wstring wide_name = wide(name);
    std::wstring value(GetEnvironmentVariableW(wide_name.c_str(), nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size())));
    return utf8(value);
}

void set_environment(const char* name, const std::string& value)
{
    SetEnvironmentVariableW(wide(name).c_str(), wide(value).c_str());
}

} // namespace tessit::base
