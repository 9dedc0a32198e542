#include "cli/commands/on_probes.h"
#include "cli/firmware/firmware.h"
#include "cli/memory/chip.h"
#include "cli/memory/eraser.h"
#include "cli/memory/programmer.h"
#include "cli/session/memory_map.h"
#include "cli/terminal/progress.h"

#include <chrono>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    std::vector<std::string> files;
    EraseMode erase = EraseMode::needed;
    bool allow_protect = false;
    bool verify = true;
    bool reset = false;
};

constexpr Choice<EraseMode> erase_modes[]{
    {"pages", EraseMode::needed}, {"all", EraseMode::all}, {"none", EraseMode::none}};

void require_protection_wanted(const Image& image, const Options& options)
{
    if (protects_chip(image) && !options.allow_protect) {
        throw Failure{
            ExitCode::failure,
            fmt::format("the image would turn readback protection on (UICR word {:#010x}); nothing was erased",
                        memory_map::uicr_approtect),
            "Add --allow-protect if the chip shall be locked; only `tessit recover` unlocks it, and erases it."};
    }
}

// Protection takes effect at the reset, and then the CPU is nobody's to halt or to start: the chip is let go before, is
// reset through its control access port, and must say that it is protected.
void reset_and_lock(const Session& session)
{
    session.check(TESSIT_disconnect_from_device(), "let the chip go");
    session.check(TESSIT_debug_reset(), "reset the chip");
    readback_protection_status_t status = NONE;
    session.check(TESSIT_readback_status(&status), "read the protection status");
    if (status == NONE) {
        throw Failure{ExitCode::failure, "the image turns readback protection on, but the chip does not report it",
                      "Power the board off and on; `tessit info` shows whether it is protected then."};
    }
}

// What follows the programming, in words.
std::string finish(const Target& target, const Options& options, bool is_protecting)
{
    const Session& session = target.session();
    if (!options.reset) {
        return fmt::format("The CPU is halted; `{}` starts the firmware{}.\n", session.command_line("reset"),
                           is_protecting ? " and locks the chip" : "");
    }
    if (is_protecting) {
        reset_and_lock(session);
        return fmt::format("The chip was reset and runs. It is protected from now on; `{}` unlocks it and erases "
                           "everything.\n",
                           session.command_line("recover --yes"));
    }
    session.check(TESSIT_sys_reset(), "reset the chip");
    target.go();
    return "The chip was reset and runs.\n";
}

// Nothing of a time that is too short to tell a rate, as the simulation's is.
std::string describe_time(std::uint64_t bytes, Clock::Duration elapsed)
{
    const double seconds = std::chrono::duration<double>{elapsed}.count();
    constexpr double shortest = 0.1;
    if (bytes == 0 || seconds < shortest) {
        return "";
    }
    return fmt::format("; {} ({:.0f} KiB/s)", format_seconds(elapsed), static_cast<double>(bytes) / 1024 / seconds);
}

std::string describe_erases(const Plan& plan)
{
    return plan.erases.everything ? "the whole chip" : format_count(plan.erased_units, "pages");
}

std::vector<Piece> whole(const Device& device)
{
    std::vector<Piece> pieces;
    std::ranges::transform(device.memories, std::back_inserter(pieces), [](const Memory& memory) {
        return Piece{&memory, memory.traits.range};
    });
    return pieces;
}

Report summarize(const Session& session, const Device& chip, const Options& options, const Plan& plan,
                 const ProgramResult& result, Clock::Duration elapsed)
{
    Json json{
        {"image_bytes", plan.image_bytes},
        {"pages_touched", plan.touched_units},
        {"pages_changed", plan.changed_units ? Json(*plan.changed_units) : Json()},
        {"pages_written", plan.written_units},
        {"pages_erased", plan.erased_units},
        {"erased_all", plan.erases.everything},
        {"changed", plan.changed_units ? to_json(plan.changed) : Json()},
        {"erased", plan.erases.everything ? to_json(whole(chip)) : to_json(plan.erases.blocks)},
        {"written", to_json(plan.changes)},
        {"written_bytes", result.written_bytes},
        {"verified", options.verify || plan.changes_nothing()},
        {"protection_lifted", result.protection_was_lifted},
        {"reset", options.reset},
    };
    return {fmt::format("Programmed {} on probe {}: {}, {} erased, {} written, {}{}{}.\n",
                        format_size(plan.image_bytes), session.serial(), describe_changes(plan, "pages"),
                        describe_erases(plan), format_size(result.written_bytes), describe_verification(plan, result),
                        result.protection_was_lifted ? ", block protection lifted" : "",
                        describe_time(result.written_bytes, elapsed)),
            std::move(json)};
}

Report program(Target& target, const Image& image, const Options& options, const Console& console)
{
    const Clock& clock = target.session().clock();
    const Narration narration{console, clock};
    const Clock::Duration start = clock.now();
    RunStateKeeper run_state{target}; // until the first byte changes, the firmware is to go on after a refusal
    const Device chip = chip_device(target, narration);
    require_within_chip(image, chip);
    require_protection_wanted(image, options);
    const Plan plan = plan_programming(chip, image, options.erase, narration);
    run_state.release();
    target.halt();
    const ProgramResult result = execute(chip, plan, options.verify, narration);
    const auto elapsed = clock.now() - start;
    const bool is_protecting = protects_chip(image);
    const std::string ending = finish(target, options, is_protecting);
    Report report = summarize(target.session(), chip, options, plan, result, elapsed);
    report.text += ending;
    report.json["protected"] = is_protecting && options.reset;
    return report;
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
    verb.choice("--erase", erase_modes, options->erase,
                "What to erase before: the pages that need it, everything with the UICR, or nothing")
        .with_default("pages");
    const Option verify = verb.flag("--verify", options->verify, "Read back and compare, which is the default");
    verb.off_flag("--no-verify", options->verify, "Leave the comparison out").excludes(verify);
    verb.flag("--reset", options->reset, "Reset the chip afterwards and let it run");
    verb.flag("--allow-protect", options->allow_protect, "Accept an image that turns readback protection on");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
