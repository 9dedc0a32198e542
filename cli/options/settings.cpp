#include "cli/options/settings.h"

#include "base/environment.h"
#include "base/path.h"
#include "cli/failure.h"
#include "cli/options/config_file.h"
#include "cli/options/verb.h"
#include "cli/platform/platform.h"
#include "cli/text/lists.h"
#include "cli/text/numbers.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* config_option = "--config";
constexpr const char* config_variable = "TESSIT_CONFIG";

// What may be set once for all commands. The rest stays on the command line on purpose: a file or variable that is
// forgotten must neither select the simulation nor confirm a destruction.
struct Lasting
{
    std::string_view key; // in the config file, and the option's name
    const char* variable;
};

constexpr std::array lasting_options{
    Lasting{"jlink", "TESSIT_JLINK"},         Lasting{"probe", "TESSIT_PROBE"},
    Lasting{"speed", "TESSIT_SPEED"},         Lasting{"flash-size", "TESSIT_FLASH_SIZE"},
    Lasting{"page-size", "TESSIT_PAGE_SIZE"}, Lasting{"log", "TESSIT_LOG"},
    Lasting{"verbose", "TESSIT_VERBOSE"},
};

constexpr Choice<bool> progress_styles[]{{"auto", false}, {"json", true}};

std::string option_of(const Lasting& lasting)
{
    return fmt::format("--{}", lasting.key);
}

// The option reports why it refuses a value; the user needs to know where the value stands, too.
void take(const Option& option, const std::vector<std::string>& values, const std::string& origin)
{
    try {
        option.take(values);
    } catch (const Failure& failure) {
        throw Failure{ExitCode::usage, fmt::format("{}: {}", origin, failure.what()), failure.hint()};
    }
}

void apply_environment(const Verb& root)
{
    for (const Lasting& lasting : lasting_options) {
        const Option option = root.option(option_of(lasting));
        const std::string value = base::environment(lasting.variable);
        if (!option.is_given() && !value.empty()) {
            take(option, {value}, fmt::format("environment variable {}", lasting.variable));
        }
    }
}

std::string known_settings()
{
    std::vector<std::string_view> keys;
    std::ranges::transform(lasting_options, std::back_inserter(keys), &Lasting::key);
    return joined(keys);
}

void apply_config(const Verb& root, const fs::path& path)
{
    const std::string hint = "Correct the config file, or name another one with --config FILE.";
    for (const ConfigItem& item : read_config_file(path, hint)) {
        const auto* const known = std::ranges::find(lasting_options, item.key, &Lasting::key);
        if (known == lasting_options.end()) {
            throw Failure{ExitCode::usage, fmt::format("{}: there is no setting '{}'", item.place, item.key),
                          fmt::format("Settings are: {}.", known_settings())};
        }
        const Option option = root.option(option_of(*known));
        if (!option.is_given()) {
            take(option, item.values, fmt::format("{}: {}", item.place, item.key));
        }
    }
}

// The file that was asked for must exist; the user's default one need not.
void apply_config(const Verb& root)
{
    const Option option = root.option(config_option);
    std::string path = option.is_given() ? option.values().front() : base::environment(config_variable);
    if (!path.empty()) {
        if (!fs::is_regular_file(base::path_of(path))) {
            throw Failure{ExitCode::usage, fmt::format("cannot read the config file {}", path),
                          "Check the path given by --config or TESSIT_CONFIG."};
        }
        apply_config(root, base::path_of(path));
        return;
    }
    const fs::path folder = platform::user_config_folder();
    const fs::path usual = folder / "tessit" / "config.toml";
    if (!folder.empty() && fs::is_regular_file(usual)) {
        apply_config(root, usual);
    }
}

std::string shell_quoted(const std::string& text)
{
    return text.find_first_of(" \t'\"\\$&;()*?") == std::string::npos ? text : fmt::format("'{}'", text);
}

void add_size(const Verb& root, const std::string& name, std::optional<std::uint32_t>& value, const std::string& what)
{
    root.parsed(
        name, "SIZE", [&value, what](const std::string& text) { value = parse_u32(text, what); },
        fmt::format("The {} instead of what the chip says", what));
}

void require_serial_number(const std::string& text)
{
    const bool is_number = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    if (!is_number || text.empty()) {
        throw Failure{ExitCode::usage, fmt::format("'{}' is not a serial number", text),
                      "`tessit list` shows the serial numbers; the last digits of one are enough."};
    }
}

} // namespace

void add_global_options(const Verb& root, Settings& settings)
{
    constexpr std::uint32_t slowest_khz = 125;
    constexpr std::uint32_t fastest_khz = 50000;
    constexpr std::uint32_t most_jobs = 256;

    const Option probe = root.parsed_list(
        "-p,--probe", "SERIAL",
        [&settings](const std::string& text) {
            require_serial_number(text);
            settings.probes.push_back(text);
        },
        "Probe to use: its serial number or a unique ending of it; may be repeated for program, verify, erase, "
        "recover, "
        "protect, reset, info, write and read");
    root.flag("--all-probes", settings.all_probes, "Use every attached probe; for the same commands").excludes(probe);
    root.number("--jobs", "N", settings.jobs, 1, most_jobs, "Several probes: so many at the same time; default all");
    root.parsed(
        "--wait", "SECONDS", [&settings](const std::string& text) { settings.wait = parse_seconds(text, "--wait"); },
        "Wait so long until the probe is there, free, and its board has power");
    root.number("-s,--speed", "KHZ", settings.speed_khz, slowest_khz, fastest_khz,
                "SWD speed, 125 to 50000; default 4000");
    const Option jlink =
        root.text("--jlink", "PATH", settings.jlink, "J-Link library to load; default: the usual install places");
    root.flag("--sim", settings.simulated, "Use the simulated bench instead of real probes").excludes(jlink);
    root.text("--bench", "FILE", settings.bench, "Bench file of the simulation");
    root.flag("--fresh", settings.fresh, "Simulated chips in their factory state, of which nothing is left behind");
    root.flag("--strict", settings.strict, "Fail when the simulation has recorded what a real chip would not forgive");
    add_size(root, "--flash-size", settings.flash_size, "flash size");
    add_size(root, "--page-size", settings.page_size, "page size");
    root.flag("--json", settings.json, "Print the result as JSON");
    root.choice("--progress", progress_styles, settings.events,
                "How progress is shown: as it fits standard error, or as lines of JSON")
        .with_default("auto");
    const Option verbose = root.flag("-v,--verbose", settings.verbose, "Show on standard error what the library does");
    root.flag("-q,--quiet", settings.quiet, "Show results and errors, and nothing else").excludes(verbose);
    root.text("--log", "FILE", settings.log_file,
              "Append what the library does to a file; {serial} in its name stands for the probe's");
    root.parsed(
        config_option, "FILE", [](const std::string&) {}, // read after the whole command line
        "Config file; default: tessit/config.toml in the user's config folder");
    root.flag("-y,--yes", settings.yes, "Do not ask before something is destroyed");
}

void complete_settings(const Verb& root, Settings& settings)
{
    if (settings.simulated) {
        settings.library_flags = " --sim";
    } else if (!settings.jlink.empty()) {
        settings.library_flags = fmt::format(" --jlink {}", shell_quoted(settings.jlink));
    }
    apply_environment(root);
    apply_config(root);
    if (settings.all_probes) {
        settings.probes.clear();
    }
}

} // namespace tessit::cli
