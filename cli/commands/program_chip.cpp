#include "cli/commands/program_chip.h"

#include "cli/memory/chip.h"
#include "cli/memory/eraser.h"
#include "cli/memory/programmer.h"
#include "cli/memory/recovery.h"
#include "cli/session/memory_map.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <iterator>
#include <memory>

namespace tessit::cli {
namespace {

constexpr Choice<EraseMode> erase_modes[]{
    {"pages", EraseMode::needed}, {"all", EraseMode::all}, {"none", EraseMode::none}};

void require_protection_wanted(const Image& image, const ProgramOptions& options)
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
    if (!session.is_chip_protected()) {
        throw Failure{ExitCode::failure, "the image turns readback protection on, but the chip does not report it",
                      "Power the board off and on; `tessit info` shows whether it is protected then."};
    }
}

// What follows the programming, in words.
std::string finish(const Target& target, const ProgramOptions& options, bool is_protecting)
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

Report summarize(const Session& session, const Device& chip, const ProgramOptions& options, const Plan& plan,
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

// What is on a protected chip is nobody's to read or to keep.
bool recover_if_protected(const Target& target, const Console& console)
{
    const Session& session = target.session();
    if (!session.is_chip_protected()) {
        return false;
    }
    console.confirm(recovery_consequence(session, true));
    recover_chip(target, true, {console, session.clock()});
    return true;
}

} // namespace

Report program_chip(Target& target, const Image& image, const ProgramOptions& options, const Console& console)
{
    const Clock& clock = target.session().clock();
    const Narration narration{console, clock};
    const Clock::Duration start = clock.now();
    const bool was_recovered = options.recovers && recover_if_protected(target, console);
    RunStateKeeper run_state{target}; // until the first byte changes, the firmware is to go on after a refusal
    const std::string device_id = target.device_id();
    console.at_chip(device_id);
    Device chip = chip_device(target, narration);
    require_within_chip(image, chip);
    require_protection_wanted(image, options);
    const std::unique_ptr<FlashLoader> loader = employ_loader(options.loader, image, target, chip, narration);
    const Plan plan = plan_programming(chip, image, options.erase, narration);
    run_state.release();
    target.halt();
    const ProgramResult result = execute(chip, plan, options.verify, narration);
    if (loader) {
        loader->give_back();
    }
    const auto elapsed = clock.now() - start;
    const bool is_protecting = protects_chip(image);
    const std::string ending = finish(target, options, is_protecting);
    Report report = summarize(target.session(), chip, options, plan, result, elapsed);
    const bool ram_is_kept = !loader || !loader->has_lost_ram();
    report.text += (ram_is_kept ? "" : "The flash loader ran in RAM, whose former content is gone.\n") + ending;
    report.json["device_id"] = device_id;
    report.json["recovered"] = was_recovered;
    report.json["protected"] = is_protecting && options.reset;
    report.json["ram_kept"] = ram_is_kept;
    report.json["values"] = Json::list(); // besides the image's own
    add_loader_result(options.loader, loader.get(), report.json);
    return report;
}

void add_program_options(const Verb& verb, ProgramOptions& options)
{
    verb.flag("--recover", options.recovers, "Recover a protected chip first, which erases it; asks before");
    verb.choice("--erase", erase_modes, options.erase,
                "What to erase before: the pages that need it, everything with the UICR, or nothing")
        .with_default("pages");
    const Option verify = verb.flag("--verify", options.verify, "Compare afterwards, which is the default");
    verb.off_flag("--no-verify", options.verify, "Leave the comparison out").excludes(verify);
    add_loader_options(verb, options.loader);
    verb.flag("--allow-protect", options.allow_protect, "Accept an image that turns readback protection on");
}

} // namespace tessit::cli
