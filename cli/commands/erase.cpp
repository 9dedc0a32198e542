#include "cli/commands/on_probes.h"
#include "cli/memory/chip.h"
#include "cli/memory/eraser.h"
#include "cli/terminal/progress.h"

#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <set>

namespace tessit::cli {
namespace {

struct Options
{
    bool all = false;
    bool mass = false;
    bool uicr = false;
    std::optional<Range> range;
    std::vector<std::uint32_t> pages; // any address within

    int count() const
    {
        return static_cast<int>(all) + static_cast<int>(mass) + static_cast<int>(uicr) +
               static_cast<int>(range.has_value()) + static_cast<int>(!pages.empty());
    }
};

void require_within_flash(const Range& range, const MemoryTraits& flash)
{
    if (!flash.range.contains(range)) {
        throw Failure{ExitCode::usage,
                      fmt::format("the range {} is not within the flash {}; nothing was erased", format_range(range),
                                  format_range(flash.range)),
                      "`tessit erase --uicr` erases the UICR; nothing else can be erased."};
    }
}

// Each page once, however many addresses within it were given.
std::vector<Piece> pages_to_erase(const Options& options, const Memory& flash)
{
    std::set<std::size_t> pages;
    if (options.range) {
        require_within_flash(*options.range, flash.traits);
        require_whole_units(*options.range, flash.traits);
        for (std::size_t i = flash.traits.unit_of(options.range->first); i < flash.traits.unit_of(options.range->end());
             ++i) {
            pages.insert(i);
        }
    }
    for (const std::uint32_t address : options.pages) {
        require_within_flash({address, 1}, flash.traits);
        pages.insert(flash.traits.unit_of(address));
    }
    std::vector<Piece> pieces;
    std::ranges::transform(pages, std::back_inserter(pieces), [&flash](std::size_t page) {
        return Piece{&flash, flash.traits.unit(page)};
    });
    return pieces;
}

struct Outcome
{
    std::string what;
    std::vector<Piece> pieces;
    EraseResult result;
};

Outcome erase_pages(const Device& chip, const Options& options, const Narration& narration)
{
    const Memory& flash = chip.memories.front();
    const std::vector<Piece> pages = pages_to_erase(options, flash);
    const EraseResult result = erase_blocks(chip, pages, true, narration);
    return {
        fmt::format("{} of {}", format_count(pages.size(), flash.traits.units), format_size(flash.traits.unit_bytes)),
        pages, result};
}

Outcome erase_uicr(const Device& chip, const Narration& narration)
{
    const Memory& uicr = chip.memories.back();
    const std::vector<Piece> all{{&uicr, uicr.traits.range}};
    return {"the UICR", all, erase_blocks(chip, all, true, narration)};
}

Outcome erase_chip(const Session& session, const Device& chip, bool mass, const Narration& narration)
{
    const auto mass_erase = [&session] { session.check(TESSIT_masserase(), "erase the chip"); };
    std::vector<Piece> all;
    std::ranges::transform(chip.memories, std::back_inserter(all), [](const Memory& memory) {
        return Piece{&memory, memory.traits.range};
    });
    return {"the whole flash and the UICR", all,
            mass ? erase_everything(chip, mass_erase, narration) : erase_everything(chip, chip.erase_all, narration)};
}

Outcome erase_chosen(const Target& target, const Device& chip, const Options& options, const Narration& narration)
{
    if (options.range || !options.pages.empty()) {
        return erase_pages(chip, options, narration);
    }
    return options.uicr ? erase_uicr(chip, narration) : erase_chip(target.session(), chip, options.mass, narration);
}

Report erase(const Target& target, const Options& options, const Console& console)
{
    const Clock& clock = target.session().clock();
    const Clock::Duration start = clock.now();
    const Narration narration{console, clock};
    const Device chip = chip_device(target, narration);
    const auto [what, pieces, result] = erase_chosen(target, chip, options, narration);
    const auto elapsed = clock.now() - start;
    const std::uint32_t serial = target.session().serial();
    return {fmt::format("Erased {} on probe {} in {}, and found blank ({}){}; the CPU is halted.\n", what, serial,
                        format_seconds(elapsed), describe_proof(result.proof, chip.memories.front().traits.units),
                        result.protection_was_lifted ? " after the block protection was lifted" : ""),
            {{"what", what},
             {"erased", to_json(pieces)},
             {"proof", name_of(result.proof)},
             {"protection_lifted", result.protection_was_lifted}}};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    constexpr const char* choices =
        "One of: --all (flash and UICR), --range A-B, --page ADDR, --uicr, --mass (flash and "
        "UICR through the mass-erase register).";
    if (options.count() == 0) {
        throw Failure{ExitCode::usage, "erase needs to be told what to erase", choices};
    }
    if (options.count() > 1) {
        throw Failure{ExitCode::usage, "erase takes one thing to erase at a time, and several are named", choices};
    }
    return run_on_probes(invocation, [&](Target& target) { return erase(target, options, invocation.console); });
}

} // namespace

Command add_erase(const Verb& root)
{
    const Verb verb = root.verb("erase", "Erase the flash, pages of it, or the UICR");
    const auto options = std::make_shared<Options>();
    verb.flag("--all", options->all, "The whole flash and the UICR");
    verb.parsed(
        "--range", "RANGE", [options](const std::string& text) { options->range = parse_range(text); },
        "Pages: FIRST-END (END excluded) or FIRST+LENGTH, at page borders");
    verb.parsed_list(
        "--page", "ADDR", [options](const std::string& text) { options->pages.push_back(parse_u32(text, "address")); },
        "The page that holds the address; may be repeated");
    verb.flag("--uicr", options->uicr, "The user configuration");
    verb.flag("--mass", options->mass, "The whole flash and the UICR through the mass-erase register");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
