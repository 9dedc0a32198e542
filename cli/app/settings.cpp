#include "cli/app/settings.h"

#include "cli/failure.h"
#include "cli/platform/platform.h"
#include "cli/text/numbers.h"

#include <CLI/Config.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <array>
#include <cstdlib>
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
    const char* key; // in the config file, and the option's name
    const char* variable;
};

constexpr std::array lasting_options{
    Lasting{"jlink", "TESSIT_JLINK"},         Lasting{"probe", "TESSIT_PROBE"},
    Lasting{"speed", "TESSIT_SPEED"},         Lasting{"flash-size", "TESSIT_FLASH_SIZE"},
    Lasting{"page-size", "TESSIT_PAGE_SIZE"}, Lasting{"log", "TESSIT_LOG"},
    Lasting{"verbose", "TESSIT_VERBOSE"},
};

std::string environment(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): one thread
    return value == nullptr ? "" : value;
}

// The option reports why it refuses a value; the user needs to know where the value stands, too.
void set_option(CLI::Option& option, const std::vector<std::string>& values, const std::string& origin)
{
    const std::string hint = fmt::format("Correct the value in {}.", origin);
    try {
        for (const std::string& value : values) {
            option.add_result(value);
        }
        option.run_callback();
    } catch (const CLI::Error& error) {
        throw Failure{ExitCode::usage, fmt::format("{}: {}", origin, error.what()), hint};
    } catch (const Failure& failure) {
        throw Failure{ExitCode::usage, fmt::format("{}: {}", origin, failure.what()), hint};
    }
}

void apply_environment(CLI::App& app)
{
    for (const Lasting& lasting : lasting_options) {
        CLI::Option* const option = app.get_option_no_throw(fmt::format("--{}", lasting.key));
        const std::string value = environment(lasting.variable);
        if (option->count() == 0 && !value.empty()) {
            set_option(*option, {value}, fmt::format("environment variable {}", lasting.variable));
        }
    }
}

std::vector<CLI::ConfigItem> read_config(const fs::path& path)
{
    try {
        return CLI::ConfigTOML{}.from_file(path.string());
    } catch (const CLI::Error& error) {
        throw Failure{ExitCode::usage, fmt::format("{}: {}", path.string(), error.what()),
                      "Correct the config file, or name another one with --config FILE."};
    }
}

std::string known_settings()
{
    std::vector<std::string> keys;
    std::ranges::transform(lasting_options, std::back_inserter(keys), &Lasting::key);
    return fmt::format("{}", fmt::join(keys, ", "));
}

void apply_config(CLI::App& app, const fs::path& path)
{
    for (const CLI::ConfigItem& item : read_config(path)) {
        const auto known = std::ranges::find(lasting_options, item.fullname(), &Lasting::key);
        if (known == lasting_options.end()) {
            throw Failure{ExitCode::usage, fmt::format("{}: there is no setting '{}'", path.string(), item.fullname()),
                          fmt::format("Settings are: {}.", known_settings())};
        }
        CLI::Option* const option = app.get_option_no_throw(fmt::format("--{}", known->key));
        if (option->count() == 0) {
            set_option(*option, item.inputs, fmt::format("{}, setting '{}'", path.string(), known->key));
        }
    }
}

// The file that was asked for must exist; the user's default one need not.
void apply_config(CLI::App& app)
{
    const CLI::Option* const option = app.get_option_no_throw(config_option);
    std::string path = option->count() != 0 ? option->as<std::string>() : environment(config_variable);
    if (!path.empty()) {
        if (!fs::is_regular_file(path)) {
            throw Failure{ExitCode::usage, fmt::format("cannot read the config file {}", path),
                          "Check the path given by --config or TESSIT_CONFIG."};
        }
        apply_config(app, path);
        return;
    }
    const fs::path folder = platform::user_config_folder();
    const fs::path usual = folder / "tessit" / "config.toml";
    if (!folder.empty() && fs::is_regular_file(usual)) {
        apply_config(app, usual);
    }
}

std::string shell_quoted(const std::string& text)
{
    return text.find_first_of(" \t'\"\\$&;()*?") == std::string::npos ? text : fmt::format("'{}'", text);
}

void add_size(CLI::App& app, const std::string& name, std::optional<std::uint32_t>& value, const std::string& what)
{
    app.add_option_function<std::string>(
           name, [&value, what](const std::string& text) { value = parse_u32(text, what); },
           fmt::format("The {} instead of what the chip says", what))
        ->option_text("SIZE");
}

} // namespace

void add_global_options(CLI::App& app, Settings& settings)
{
    constexpr std::uint32_t slowest_khz = 125;
    constexpr std::uint32_t fastest_khz = 50000;

    auto* const probe = app.add_option("-p,--probe", settings.probes,
                                       "Probe to use: its serial number or a unique ending of it; may be repeated for "
                                       "program, verify, erase and info");
    probe->option_text("SERIAL")->allow_extra_args(false)->check([](const std::string& text) {
        const bool digits = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
        return digits && !text.empty() ? "" : fmt::format("'{}' is not a serial number", text);
    });
    app.add_flag("--all-probes", settings.all_probes, "Use every attached probe, one after the other")->excludes(probe);
    app.add_option("-s,--speed", settings.speed_khz, "SWD speed, 125 to 50000; default 4000")
        ->option_text("KHZ")
        ->check(CLI::Range(slowest_khz, fastest_khz));
    auto* const jlink =
        app.add_option("--jlink", settings.jlink, "J-Link library to load; default: the usual install places")
            ->option_text("PATH");
    app.add_flag("--sim", settings.simulated, "Use the simulated bench instead of real probes")->excludes(jlink);
    add_size(app, "--flash-size", settings.flash_size, "flash size");
    add_size(app, "--page-size", settings.page_size, "page size");
    app.add_flag("--json", settings.json, "Print the result as JSON");
    app.add_flag("-v,--verbose", settings.verbose, "Show on standard error what the library does");
    app.add_option("--log", settings.log_file, "Write what the library does to a file")->option_text("FILE");
    app.add_option(config_option, "Config file; default: tessit/config.toml in the user's config folder")
        ->option_text("FILE");
    app.add_flag("-y,--yes", settings.yes, "Do not ask before something is destroyed");
}

void complete_settings(CLI::App& app, Settings& settings)
{
    if (settings.simulated) {
        settings.library_flags = " --sim";
    } else if (!settings.jlink.empty()) {
        settings.library_flags = fmt::format(" --jlink {}", shell_quoted(settings.jlink));
    }
    apply_environment(app);
    apply_config(app);
    if (settings.all_probes) {
        settings.probes.clear();
    }
}

} // namespace tessit::cli
