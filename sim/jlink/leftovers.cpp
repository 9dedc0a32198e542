#include "sim/jlink/leftovers.h"

#include <array>
#include <cstring>
#include <fmt/core.h>

namespace jlinksim {
namespace {

constexpr std::uint32_t exception_monitor = 0xE000EDFC; // DEMCR
constexpr std::uint32_t trace_enable = 1U << 24;

struct Leftover
{
    const char* name;
    const char* what;
    bool only_at_close; ///< needed until then
    bool (*is_on)(const Chip& chip);
};

constexpr std::array leftovers{
    Leftover{"flash-left-enabled", "CONFIG is not read-only", false,
             [](const Chip& chip) { return chip.flash_controller().is_enabled(); }},
    Leftover{"flash-left-unlocked", "KEY is not 0", false,
             [](const Chip& chip) { return chip.flash_controller().is_unlocked(); }},
    Leftover{"flash-not-waited", "READY has not told that the last step is done", false,
             [](const Chip& chip) { return chip.flash_controller().is_awaited(); }},
    Leftover{"qspi-left-enabled", "ENABLE is 1", false, [](const Chip& chip) { return chip.has_qspi_enabled(); }},
    Leftover{"debug-power-left", "CTRL/STAT requests power", true,
             [](const Chip& chip) { return chip.debug_port().requests_power(); }},
    Leftover{"ctrl-ap-left-set", "RESET or ERASEALL is 1", true,
             [](const Chip& chip) { return chip.control_port().is_set(); }},
    Leftover{"reset-line-left-low", "nobody released it", true,
             [](const Chip& chip) { return chip.is_reset_line_low(); }},
};

std::uint32_t read_exception_monitor(Chip& chip)
{
    std::array<std::uint8_t, 4> bytes{};
    std::uint32_t value = 0;
    chip.debug_read(exception_monitor, bytes);
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

void note(Session& session, const Chip& chip, const char* before, bool at_close)
{
    const std::uint32_t now = leftovers_of(chip);
    // What was on when the session began is somebody else's, until it was off for once.
    session.keep_found_on(now);
    for (std::size_t i = 0; i < leftovers.size(); ++i) {
        const Leftover& leftover = leftovers.at(i);
        if ((now & ~session.found_on() & 1U << i) != 0 && (at_close || !leftover.only_at_close)) {
            session.bench().records().add(leftover.name, fmt::format("{} at {}", leftover.what, before));
        }
    }
}

} // namespace

std::uint32_t leftovers_of(const Chip& chip)
{
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < leftovers.size(); ++i) {
        bits |= leftovers.at(i).is_on(chip) ? 1U << i : 0;
    }
    return bits;
}

void note_leftovers(Session& session, const Chip& chip, const char* before)
{
    note(session, chip, before, false);
}

void note_leftovers_at_close(Session& session, Chip& chip)
{
    note(session, chip, "JLINKARM_Close", true);
    if (!session.is_connected() || !chip.is_debuggable()) {
        return;
    }
    if (const std::uint32_t value = read_exception_monitor(chip); value != 0) {
        session.bench().records().add("demcr-left-set", fmt::format("DEMCR = 0x{:08X} at JLINKARM_Close", value));
    }
    if (session.rtt().is_started()) {
        session.bench().records().add("rtt-left-running", "RTT is not stopped at JLINKARM_Close");
    }
}

void enable_trace(Chip& chip)
{
    const std::uint32_t value = read_exception_monitor(chip) | trace_enable;
    std::array<std::uint8_t, 4> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    chip.debug_write(exception_monitor, bytes);
}

} // namespace jlinksim
