#include "cli/commands/on_probes.h"
#include "cli/firmware/firmware.h"
#include "cli/flash/programmer.h"
#include "cli/terminal/progress.h"

#include <chrono>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    std::vector<std::string> files;
    PlanOptions plan;
    bool verify = true;
    bool reset = false;
};

using Clock = std::chrono::steady_clock;

constexpr Choice<EraseMode> erase_modes[]{
    {"pages", EraseMode::pages}, {"all", EraseMode::all}, {"none", EraseMode::none}};

void reset_and_run(const Target& target)
{
    target.session().check(TESSIT_sys_reset(), "reset the chip");
    target.go();
}

std::string describe_verification(const Options& options, const Plan& plan)
{
    if (plan.pages.empty() && !plan.erases_all) {
        return "equal already";
    }
    return options.verify ? "verified" : "not verified";
}

// Nothing of a time that is too short to tell a rate, as the simulation's is.
std::string describe_time(std::uint64_t bytes, Clock::duration elapsed)
{
    const double seconds = std::chrono::duration<double>{elapsed}.count();
    constexpr double shortest = 0.1;
    if (bytes == 0 || seconds < shortest) {
        return "";
    }
    return fmt::format("; {} ({:.0f} KiB/s)", format_seconds(elapsed), static_cast<double>(bytes) / 1024 / seconds);
}

Report summarize(const Session& session, const Options& options, const Plan& plan, const ProgramResult& result,
                 Clock::duration elapsed)
{
    const std::string erased = plan.erases_all ? "the whole chip" : fmt::format("{} pages", plan.pages_to_erase());
    std::string text = fmt::format("Programmed {} on probe {}: {} of {} pages changed, {} erased, {} written, {}{}.\n",
                                   format_size(plan.image_bytes), session.serial(), plan.pages.size(),
                                   plan.touched_pages, erased, format_size(result.written_bytes),
                                   describe_verification(options, plan), describe_time(result.written_bytes, elapsed));
    text += options.reset
                ? "The chip was reset and runs.\n"
                : fmt::format("The CPU is halted; `{}` starts the firmware.\n", session.command_line("reset"));
    Json json{
        {"probe", session.serial()},
        {"image_bytes", plan.image_bytes},
        {"pages_touched", plan.touched_pages},
        {"pages_changed", plan.pages.size()},
        {"pages_erased", plan.pages_to_erase()},
        {"erased_all", plan.erases_all},
        {"written_bytes", result.written_bytes},
        {"verified", options.verify},
        {"reset", options.reset},
        {"seconds", std::chrono::duration<double>{elapsed}.count()},
    };
    return {std::move(text), std::move(json)};
}

Report program(Target& target, const Image& image, const Options& options, const Console& console)
{
    const auto start = Clock::now();
    RunStateKeeper run_state{target}; // until the first byte changes, the firmware is to go on after a refusal
    const Plan plan = plan_programming(target, image, options.plan, console);
    run_state.release();
    const ProgramResult result = execute(target, plan, options.verify, console);
    if (options.reset) {
        reset_and_run(target);
    }
    return summarize(target.session(), options, plan, result, Clock::now() - start);
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    const Image image = read_firmware(options.files);
    return run_on_probes(invocation,
                         [&](Target& target) { return program(target, image, options, invocation.console); });
}

} // namespace

Command add_program(const Verb& root)
{
    const Verb verb = root.verb("program", "Write firmware files to the flash and the UICR, and verify them");
    const auto options = std::make_shared<Options>();
    verb.text_list("FILES", "", options->files,
                   "Intel HEX, S-record, ELF, or raw binary with its address: app.bin@0x20000")
        .required();
    verb.choice("--erase", erase_modes, options->plan.erase,
                "What to erase before: the pages that need it, everything with the UICR, or nothing")
        .with_default("pages");
    const Option verify = verb.flag("--verify", options->verify, "Read back and compare, which is the default");
    verb.off_flag("--no-verify", options->verify, "Leave the comparison out").excludes(verify);
    verb.flag("--reset", options->reset, "Reset the chip afterwards and let it run");
    verb.flag("--allow-protect", options->plan.allow_protect, "Accept an image that turns readback protection on");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
