#include "base/path.h"
#include "cli/commands/command.h"
#include "cli/firmware/file.h"
#include "cli/session/probe_choice.h"
#include "cli/sim/bench.h"
#include "cli/text/numbers.h"
#include "cli/text/table.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    std::string file;
    bool all = false;
    bool clear = false;
};

std::string describe_state(const BenchProbe& probe)
{
    if (probe.description.plugged == 0) {
        return "unplugged";
    }
    if (probe.description.in_use != 0) {
        return "in use";
    }
    return probe.problem.empty() ? "free" : "unusable";
}

bool has_chip(const BenchProbe& probe)
{
    return probe.description.chip_version[0] != '\0';
}

std::vector<std::string> describe_row(const BenchProbe& bench_probe)
{
    const jlinksim_probe_t& probe = bench_probe.description;
    std::vector<std::string> row{
        std::to_string(probe.serial_number), describe_state(bench_probe),
        fmt::format("{}.{:03} V", probe.supply_millivolts / 1000, probe.supply_millivolts % 1000),
        has_chip(bench_probe) ? probe.chip_version : "no chip"};
    if (!has_chip(bench_probe) || !bench_probe.problem.empty()) {
        return row;
    }
    row.insert(row.end(), {probe.chip_protected != 0 ? "on" : "off", format_size(probe.flash_bytes),
                           format_size(probe.flash_used_bytes), probe.uicr_blank != 0 ? "blank" : "used",
                           format_size(probe.ram_bytes),
                           probe.external_flash_bytes == 0 ? "none" : format_size(probe.external_flash_bytes)});
    return row;
}

Json describe_json(const BenchProbe& bench_probe)
{
    const jlinksim_probe_t& probe = bench_probe.description;
    Json json{{"probe", probe.serial_number},
              {"firmware", probe.firmware_text},
              {"plugged", probe.plugged != 0},
              {"in_use", probe.in_use != 0},
              {"supply_millivolts", probe.supply_millivolts},
              {"chip", has_chip(bench_probe) ? Json(probe.chip_version) : Json()},
              {"state_folder", probe.state_folder}};
    if (!bench_probe.problem.empty()) {
        json["problem"] = bench_probe.problem;
        return json;
    }
    json.append({{"is_protected", probe.chip_protected != 0},
                 {"flash_bytes", probe.flash_bytes},
                 {"flash_page_bytes", probe.flash_page_bytes},
                 {"flash_used_bytes", probe.flash_used_bytes},
                 {"uicr_blank", probe.uicr_blank != 0},
                 {"ram_bytes", probe.ram_bytes},
                 {"external_flash_bytes", probe.external_flash_bytes}});
    return json;
}

ExitCode show(const Console& console)
{
    const Bench bench;
    const std::string path = bench.path();
    std::vector<std::vector<std::string>> rows{
        {"PROBE", "STATE", "SUPPLY", "CHIP", "PROTECTION", "FLASH", "USED", "UICR", "RAM", "EXTERNAL FLASH"}};
    Json json{{"bench", path.empty() ? Json() : Json(path)}, {"probes", Json::list()}};
    for (const BenchProbe& probe : bench.probes()) {
        rows.push_back(describe_row(probe));
        json["probes"].push_back(describe_json(probe));
        if (!probe.problem.empty()) {
            const std::uint32_t serial = probe.description.serial_number;
            console.note(fmt::format("Probe {}: {}.\n{}", serial, probe.problem, state_hint(serial)));
        }
    }
    console.show(fmt::format("Bench: {}\n{}", path.empty() ? "built-in" : path, format_table(rows)), std::move(json));
    return ExitCode::done;
}

ExitCode init(const Console& console, const std::string& file)
{
    Bench{}.write_example(file);
    console.show(fmt::format("Wrote {}. `tessit --sim --bench {}` uses it.\n", file, file), {{"bench", file}});
    return ExitCode::done;
}

// Of the bench, plugged or not. All chips are those that there are; a probe that is named must have one.
std::vector<std::uint32_t> chosen_serials(const Settings& settings, const Bench& bench, bool all)
{
    std::vector<std::uint32_t> probes;
    std::vector<std::uint32_t> with_chip;
    for (const BenchProbe& probe : bench.probes()) {
        probes.push_back(probe.description.serial_number);
        if (has_chip(probe)) {
            with_chip.push_back(probes.back());
        }
    }
    if (with_chip.empty()) {
        throw Failure{ExitCode::no_target, "there is no chip on the bench", show_hint};
    }
    if (all || settings.all_probes) {
        return with_chip;
    }
    std::vector<std::uint32_t> chosen = choose_probes(settings, probes);
    for (const std::uint32_t serial : chosen) {
        if (std::ranges::find(with_chip, serial) == with_chip.end()) {
            throw Failure{ExitCode::no_target, fmt::format("there is no chip on probe {}", serial), show_hint};
        }
    }
    return chosen;
}

ExitCode change(const Invocation& invocation, const Options& options, bool resets)
{
    const Bench bench;
    std::string text;
    Json json{{"probes", Json::list()}};
    for (const std::uint32_t serial : chosen_serials(invocation.settings, bench, options.all)) {
        if (resets) {
            bench.factory_reset(serial);
        } else {
            bench.power_cycle(serial);
        }
        text += fmt::format("The chip on probe {} {}.\n", serial,
                            resets ? "has its factory state again" : "was switched off and on");
        json["probes"].push_back({{"probe", serial}});
    }
    invocation.console.show(text, std::move(json));
    return ExitCode::done;
}

// They are kept until somebody clears them.
ExitCode show_records(const Console& console, bool clear)
{
    constexpr std::uint64_t more_than_is_kept = std::uint64_t{2} * 1024 * 1024;
    const std::filesystem::path path = base::path_of(Bench{}.records_path());
    const std::string text = std::filesystem::exists(path) ? read_file(path, more_than_is_kept) : "";
    Json lines = Json::list();
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    if (clear) {
        std::filesystem::remove(path);
    }
    console.show(text.empty() ? "There are no records.\n" : text, {{"records", std::move(lines)}, {"cleared", clear}});
    return ExitCode::done;
}

} // namespace

Command add_sim(const Verb& root)
{
    const Verb verb = root.verb("sim", "Look at the simulated bench and change it");
    const auto options = std::make_shared<Options>();
    verb.require_verb();
    const Verb show_verb = verb.verb("show", "Show the probes and chips of the bench and their state");
    const Verb init_verb = verb.verb("init", "Write a commented bench file to start from");
    init_verb.text("FILE", "", options->file, "Bench file to write; must not exist").required();
    const Verb reset_verb =
        verb.verb("factory-reset", "Give a chip back what the bench file says: flash, UICR, FICR, RAM");
    const Verb power_verb = verb.verb("power-cycle", "Switch a chip's supply off and on: flash, UICR and FICR stay");
    const Verb records_verb = verb.verb("records", "Show what commands did that a real chip would not have forgiven");
    records_verb.flag("--clear", options->clear, "Forget them, after they were shown");
    for (const Verb& change_verb : {reset_verb, power_verb}) {
        change_verb.flag("--all", options->all, "All chips of the bench").excludes(root.option("--probe"));
    }
    return {verb, [=](const Invocation& invocation) {
                if (show_verb.is_chosen()) {
                    return show(invocation.console);
                }
                if (init_verb.is_chosen()) {
                    return init(invocation.console, options->file);
                }
                if (records_verb.is_chosen()) {
                    return show_records(invocation.console, options->clear);
                }
                return change(invocation, *options, reset_verb.is_chosen());
            }};
}

} // namespace tessit::cli
