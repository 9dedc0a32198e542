#include "cli/chip/ram_power.h"
#include "cli/commands/on_probes.h"
#include "cli/session/memory_map.h"
#include "cli/text/table.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    bool on = false;
    bool off = false;
    std::uint32_t section = 0;
};

Report describe(const RamSections& ram)
{
    std::vector<std::vector<std::string>> rows{{"SECTION", "ADDRESSES", "SIZE", "POWER"}};
    Json sections = Json::list();
    std::string bar;
    std::uint32_t address = memory_map::ram_start;
    std::uint32_t powered_bytes = 0;
    for (std::size_t i = 0; i < ram.sizes.size(); ++i) {
        const bool is_on = ram.power[i] == RAM_SECTION_ON;
        rows.push_back({std::to_string(i), format_range({address, ram.sizes[i]}), format_size(ram.sizes[i]),
                        is_on ? "on" : "off"});
        sections.push_back({{"section", i}, {"address", address}, {"bytes", ram.sizes[i]}, {"on", is_on}});
        bar += is_on ? '#' : '.';
        powered_bytes += is_on ? ram.sizes[i] : 0;
        address += ram.sizes[i];
    }
    return {format_table(rows) + fmt::format("[{}]  {} of {} sections on, {} of {}\n", bar, ram.count_on(),
                                             ram.sizes.size(), format_size(powered_bytes),
                                             format_size(ram.total_bytes())),
            {{"sections", std::move(sections)}}};
}

Report switch_power(const Target& target, const Options& options)
{
    const Session& session = target.session();
    RunStateKeeper run_state{target};
    if (options.on) {
        session.check(TESSIT_power_ram_all(), "power the RAM on");
    }
    if (options.off) {
        const std::size_t count = read_ram_sections(session).sizes.size();
        if (options.section >= count) {
            throw Failure{ExitCode::usage, fmt::format("this chip has no RAM section {}", options.section),
                          fmt::format("Sections are 0 to {}.", count - 1)};
        }
        session.check(TESSIT_unpower_ram_section(options.section),
                      fmt::format("power RAM section {} off", options.section));
    }
    Report report = describe(read_ram_sections(session));
    run_state.restore();
    return report;
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    return run_on_probe(invocation, [&](const Target& target) { return switch_power(target, options); });
}

} // namespace

Command add_ram(const Verb& root)
{
    const Verb verb = root.verb("ram", "Show which RAM sections are powered, or switch them");
    const auto options = std::make_shared<Options>();
    verb.allow_verb();
    const Verb on = verb.verb("on", "Power all sections on");
    const Verb off = verb.verb("off", "Power one section off; its content is lost");
    off.parsed(
           "N", "", [options](const std::string& text) { options->section = parse_u32(text, "number of the section"); },
           "Number of the section, as `tessit ram` shows it")
        .required();
    return {verb, [options, on, off](const Invocation& invocation) {
                options->on = on.is_chosen();
                options->off = off.is_chosen();
                return run(invocation, *options);
            }};
}

} // namespace tessit::cli
