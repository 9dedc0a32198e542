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

void require_whole_pages(const Range& range, const MemoryTraits& flash)
{
    if (!flash.range.contains(range)) {
        throw Failure{ExitCode::usage,
                      fmt::format("the range {} is not within the flash {}; nothing was erased", format_range(range),
                                  format_range(flash.range)),
                      "`tessit erase --uicr` erases the UICR; nothing else can be erased."};
    }
    const std::uint64_t page = flash.unit_bytes;
    if (range.first % page != 0 || range.end() % page != 0) {
        const Range first = flash.unit(flash.unit_of(range.first));
        const Range last = flash.unit(flash.unit_of(range.end() - 1));
        throw Failure{ExitCode::usage,
                      fmt::format("the range {} does not consist of whole pages of {}; nothing was erased",
                                  format_range(range), format_size(page)),
                      fmt::format("The pages that it touches are --range {}.",
                                  format_range({first.first, last.end() - first.first}))};
    }
}

// Each page once, however many addresses within it were given.
std::vector<Range> pages_to_erase(const Options& options, const MemoryTraits& flash)
{
    std::set<std::uint32_t> pages;
    if (options.range) {
        require_whole_pages(*options.range, flash);
        for (std::uint64_t page = options.range->first; page < options.range->end(); page += flash.unit_bytes) {
            pages.insert(static_cast<std::uint32_t>(page));
        }
    }
    for (const std::uint32_t address : options.pages) {
        const std::uint32_t page = address - address % flash.unit_bytes;
        require_whole_pages({page, flash.unit_bytes}, flash);
        pages.insert(page);
    }
    std::vector<Range> ranges;
    std::ranges::transform(pages, std::back_inserter(ranges), [&flash](std::uint32_t page) {
        return Range{page, flash.unit_bytes};
    });
    return ranges;
}

struct Outcome
{
    std::string what;
    std::vector<Range> ranges;
    EraseResult result;
};

Outcome erase_pages(const Device& chip, const Options& options, const Narration& narration)
{
    const Memory& flash = chip.memories.front();
    const std::vector<Range> pages = pages_to_erase(options, flash.traits);
    const EraseResult result = erase_blocks(chip, flash, pages, true, narration);
    return {fmt::format("{} page{} of {}", pages.size(), pages.size() == 1 ? "" : "s",
                        format_size(flash.traits.unit_bytes)),
            pages, result};
}

Outcome erase_uicr(const Device& chip, const Narration& narration)
{
    const Memory& uicr = chip.memories.back();
    return {"the UICR", {uicr.traits.range}, erase_blocks(chip, uicr, {uicr.traits.range}, true, narration)};
}

Outcome erase_chip(const Session& session, const Device& chip, bool mass, const Narration& narration)
{
    const auto mass_erase = [&session] { session.check(TESSIT_masserase(), "erase the chip"); };
    std::vector<Range> ranges;
    std::ranges::transform(chip.memories, std::back_inserter(ranges),
                           [](const Memory& memory) { return memory.traits.range; });
    return {"the whole flash and the UICR", ranges,
            mass ? erase_everything(chip, mass_erase, narration) : erase_everything(chip, chip.erase_all, narration)};
}

Outcome erase_chosen(const Target& target, const Options& options, const Narration& narration)
{
    const Device chip = chip_device(target, narration);
    if (options.range || !options.pages.empty()) {
        return erase_pages(chip, options, narration);
    }
    return options.uicr ? erase_uicr(chip, narration) : erase_chip(target.session(), chip, options.mass, narration);
}

Report erase(const Target& target, const Options& options, const Console& console)
{
    const Clock& clock = target.session().clock();
    const Clock::Duration start = clock.now();
    const auto [what, ranges, result] = erase_chosen(target, options, {console, clock});
    const auto elapsed = clock.now() - start;
    const std::uint32_t serial = target.session().serial();
    Json erased = Json::list();
    for (const Range& range : ranges) {
        erased.push_back({{"address", range.first}, {"bytes", range.length}});
    }
    return {fmt::format("Erased {} on probe {} in {}, and found blank ({}){}; the CPU is halted.\n", what, serial,
                        format_seconds(elapsed),
                        result.proof == BlankProof::read ? "all of it read" : "samples of every page",
                        result.protection_was_lifted ? " after the block protection was lifted" : ""),
            {{"probe", serial},
             {"erased", what},
             {"ranges", std::move(erased)},
             {"proof", name_of(result.proof)},
             {"protection_lifted", result.protection_was_lifted},
             {"seconds", std::chrono::duration<double>{elapsed}.count()}}};
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
