#include "cli/chip/cpu_state.h"
#include "cli/chip/ram_power.h"
#include "cli/commands/on_probes.h"
#include "cli/session/jlink_search.h"
#include "cli/session/memory_map.h"
#include "cli/session/result.h"
#include "cli/text/lists.h"
#include "cli/text/table.h"

#include <array>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct ResetReason
{
    std::uint32_t bit;
    const char* name;
};

constexpr std::array reset_reasons{
    ResetReason{0, "reset pin"},
    ResetReason{1, "watchdog"},
    ResetReason{2, "system reset request"},
    ResetReason{3, "CPU lock-up"},
    ResetReason{18, "control access port"},
};

std::vector<std::string> decode_reset_reasons(std::uint32_t word)
{
    std::vector<std::string> names;
    for (const ResetReason& reason : reset_reasons) {
        if ((word >> reason.bit & 1U) != 0) {
            names.emplace_back(reason.name);
            word &= ~(1U << reason.bit);
        }
    }
    if (word != 0) {
        names.push_back(fmt::format("others ({:#x})", word));
    }
    return names;
}

// Collects the lines and the JSON members side by side.
class InfoBuilder // NOLINT(bugprone-exception-escape): the JSON library's
{
public:
    void add(const std::string& label, const char* key, const std::string& text, Json value)
    {
        rows_.push_back({label, text});
        json_[key] = std::move(value);
    }

    void add_to_json(const char* key, Json value) { json_[key] = std::move(value); }

    Report report() const { return {format_table(rows_), json_}; }

private:
    std::vector<std::vector<std::string>> rows_;
    Json json_;
};

void add_probe(InfoBuilder& info, const Session& session)
{
    std::array<char, 256> firmware{};
    session.check(TESSIT_read_connected_emu_fwstr(firmware.data(), static_cast<std::uint32_t>(firmware.size())),
                  "read the probe's firmware text");
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    char revision = ' ';
    session.check(TESSIT_dll_version(&major, &minor, &revision), "read the J-Link library's version");
    const std::string version = fmt::format("{}.{:02}{}", major, minor, revision == ' ' ? "" : std::string{revision});

    info.add("Probe", "probe", std::to_string(session.serial()), session.serial());
    info.add("Firmware", "firmware", firmware.data(), std::string{firmware.data()});
    info.add("SWD speed", "speed_khz", fmt::format("{} kHz", session.settings().speed_khz),
             session.settings().speed_khz);
    info.add("J-Link library", "jlink_version", fmt::format("{} ({})", version, session.jlink_path()), version);
    info.add("tessit", "tessit", TESSIT_VERSION, TESSIT_VERSION);
    constexpr std::uint32_t least_millivolts = 1500; // less is refused at the connection; more is not told
    info.add("Target supply", "supply_at_least_millivolts", "at least 1.5 V", least_millivolts);
}

void add_chip(InfoBuilder& info, const Target& target)
{
    const Session& session = target.session();
    const std::optional<CpuState> seen = look_at_cpu(session); // before the connection, which the rest needs
    RunStateKeeper run_state{target};
    chip_version_t version = UNKNOWN;
    session.check(TESSIT_read_device_version(&version), "read the chip version");
    const FlashGeometry flash = target.flash_geometry();
    const RamSections ram = read_ram_sections(session);
    const std::uint32_t reasons_word = target.read_word(memory_map::reset_reasons);
    const std::vector<std::string> reasons = decode_reset_reasons(reasons_word);

    info.add("Chip", "chip", chip_version_name(version), chip_version_name(version));
    info.add("Flash", "flash_bytes",
             fmt::format("{} in {} pages of {}", format_size(flash.size), flash.size / flash.page_size,
                         format_size(flash.page_size)),
             flash.size);
    info.add_to_json("flash_page_bytes", flash.page_size);
    // No register shows it; whether it stands in the way, only an erase or a write without effect tells.
    info.add("Block protection", "block_protection", "not told by the chip; lifted where it stands in the way", Json());
    info.add("RAM", "ram_bytes", format_size(ram.total_bytes()), ram.total_bytes());
    info.add("RAM power", "ram_sections_on", fmt::format("{} of {} sections on", ram.count_on(), ram.sizes.size()),
             ram.count_on());
    info.add("Reset reasons", "reset_reasons", reasons.empty() ? "none (power-on)" : joined(reasons), reasons);
    const CpuState cpu = seen.value_or(run_state.was_running() ? CpuState::running : CpuState::halted);
    const std::string trouble = cpu == CpuState::locked_up ? "" : describe_trouble(target);
    info.add("CPU", "cpu",
             cpu == CpuState::locked_up
                 ? describe_stop(target, cpu).text
                 : fmt::format("{}{}{}", cpu_state_name(cpu), trouble.empty() ? "" : ", ", trouble),
             cpu_state_name(cpu));
    run_state.restore();
}

Report describe(const Target& target, const Console& console)
{
    const Session& session = target.session();
    InfoBuilder info;
    add_probe(info, session);
    const bool is_protected = session.is_chip_protected();
    info.add("Protection", "is_protected", is_protected ? "on" : "off", is_protected);
    if (!is_protected) {
        add_chip(info, target);
    } else {
        console.note("The chip is readback-protected: more cannot be read from it.");
        console.note(fmt::format("Hint: `{}` unprotects it and erases everything in it: flash, UICR and RAM.",
                                 session.command_line("recover --yes")));
    }
    return info.report();
}

// No probe is asked, and nothing is loaded.
ExitCode show_jlink_search(const Invocation& invocation)
{
    if (!invocation.settings.jlink.empty()) {
        invocation.console.note(
            fmt::format("{} is named; without that this is looked for:", invocation.settings.jlink));
    }
    std::vector<std::vector<std::string>> rows{{"RESULT", "LIBRARY", "WHY NOT"}};
    Json places = Json::list();
    for (const JlinkPlace& place : search_jlink(platform::jlink_installations())) {
        const bool is_taken = place.reason.empty();
        rows.push_back({is_taken ? "taken" : "not taken", place.library.string(), place.reason});
        places.push_back({{"library", place.library.string()},
                          {"taken", is_taken},
                          {"reason", is_taken ? Json() : Json(place.reason)}});
    }
    invocation.console.show(format_table(rows), {{"jlink_search", std::move(places)}});
    return ExitCode::done;
}

ExitCode run(const Invocation& invocation, bool shows_jlink_search)
{
    if (shows_jlink_search) {
        return show_jlink_search(invocation);
    }
    LineOptions line;
    line.shows_reports = true;
    return run_on_probes(
        invocation, [&](Target& target) { return describe(target, invocation.console); }, line);
}

} // namespace

Command add_info(const Verb& root)
{
    const Verb verb = root.verb("info", "Show what probe and chip are there, and their state");
    const auto shows_jlink_search = std::make_shared<bool>(false);
    verb.flag("--jlink-search", *shows_jlink_search,
              "Show where the J-Link library is looked for, and which one is taken; needs no probe");
    return {verb, [shows_jlink_search](const Invocation& invocation) { return run(invocation, *shows_jlink_search); }};
}

} // namespace tessit::cli
