#pragma once

#include <array>
#include <string_view>

namespace tessit {

/// Every source file that calls the J-Link library, once. A file's place makes the numbers of its lines unlike those of
/// any other file; add new files at the end, so that the numbers in old logs keep their meaning.
inline constexpr std::array<std::string_view, 10> jlink_calling_files{
    "library_version.cpp", "probe.cpp",         "probe_exports.cpp",     "device.cpp", "run_control.cpp",
    "cpu_registers.cpp",   "memory_access.cpp", "debug_port_access.cpp", "rtt.cpp",    "run_control_exports.cpp",
};

/// The place in this library's source from which the J-Link library is called.
struct CallSite
{
    const char* file;
    unsigned line;

    /// As the default argument of a function: the place of that function's call.
    static constexpr CallSite here(const char* file = __builtin_FILE(), unsigned line = __builtin_LINE())
    {
        return {file, line};
    }

    /// The number that stands for this place in the log: the file's place in the list times 10000, plus the line.
    unsigned number() const;
};

} // namespace tessit
