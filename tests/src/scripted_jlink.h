#pragma once

#include "jlinkarm_birch_tessit.h"
#include "src/jlink/functions.h"

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tessit::test {

/// A J-Link library whose functions are the test's. It answers like one probe with one healthy, unprotected, halted
/// BIRCH_M2_VA_REV1 until a test replaces a function, and lists every call that it gets.
///
/// The library under test loads it as any other: the test program's platform layer hands out this object's functions.
struct ScriptedJLink
{
    ScriptedJLink();

#define SCRIPTED_FUNCTION(result, name, parameters) std::function<result parameters> name;
    JLINK_FUNCTIONS(SCRIPTED_FUNCTION)
#undef SCRIPTED_FUNCTION

    /// Words of target memory, for JLINKARM_ReadMemU32, ReadMem, WriteU32 and WriteMem; others read 0.
    std::map<std::uint32_t, std::uint32_t> memory;
    /// CTRL-AP registers by their address.
    std::map<std::uint8_t, std::uint32_t> ctrl_ap;
    bool is_open = false;
    bool is_connected = false;
    bool is_halted = true;
    /// Reported by JLINKARM_HasError until it is cleared.
    std::uint8_t pending_error = 0;

    /// Names that this library does not export.
    std::set<std::string> missing;
    /// Loading fails.
    bool loads = true;
    int unloads = 0;

    /// Every call since the last clear, for example "SetSpeed(0xFA0)": the name without its prefix, integers in
    /// hexadecimal, texts in quotes, pointers left out. What most calls are is shorter: "[20000000]" reads a word and
    /// "[20000000]=1" writes it, "dp1" and "ap1=2" do so with debug and access port registers. JLINKARM_HasError and
    /// JLINKARM_ClrError are left out.
    std::vector<std::string> calls;
    /// How often JLINKARM_HasError and JLINKARM_ClrError were called.
    int error_checks = 0;
    int error_clears = 0;
    std::vector<std::chrono::milliseconds> sleeps;

    bool protect()
    {
        return ctrl_ap[0x0C] = 0, true;
    }

private:
    std::uint32_t select_ = 0; ///< the debug port's SELECT
};

/// The one that is loaded; replaced by every test.
extern ScriptedJLink* scripted;

/// Lines that the log callback got since the last clear.
extern std::vector<std::string> log_lines;
void TESSIT_CALL collect_log(const char* line);
/// The message parts of those lines: what follows the tab, without the line feed; entry lines are left out.
std::vector<std::string> log_messages();
/// The last of some lines, or that there is none.
std::string last_of(const std::vector<std::string>& lines);

} // namespace tessit::test
