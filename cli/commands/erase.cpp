#include "cli/commands/on_probes.h"
#include "cli/session/memory_map.h"
#include "cli/terminal/progress.h"

#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <optional>

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

void require_whole_pages(const Range& range, const FlashGeometry& geometry)
{
    if (!geometry.flash().contains(range)) {
        throw Failure{ExitCode::usage,
                      fmt::format("the range {} is not within the flash {}; nothing was erased", format_range(range),
                                  format_range(geometry.flash())),
                      "`tessit erase --uicr` erases the UICR; nothing else can be erased."};
    }
    const std::uint64_t page = geometry.page_size;
    if (range.first % page != 0 || range.end() % page != 0) {
        const std::uint32_t first = geometry.page_of(range.first);
        const Range aligned{first, (range.end() + page - 1) / page * page - first};
        throw Failure{ExitCode::usage,
                      fmt::format("the range {} does not consist of whole pages of {}; nothing was erased",
                                  format_range(range), format_size(page)),
                      fmt::format("The pages that it touches are --range {}.", format_range(aligned))};
    }
}

std::vector<std::uint32_t> pages_to_erase(const Options& options, const FlashGeometry& geometry)
{
    std::vector<std::uint32_t> pages;
    if (options.range) {
        require_whole_pages(*options.range, geometry);
        for (std::uint64_t page = options.range->first; page < options.range->end(); page += geometry.page_size) {
            pages.push_back(static_cast<std::uint32_t>(page));
        }
    }
    for (const std::uint32_t address : options.pages) {
        const std::uint32_t page = geometry.page_of(address);
        require_whole_pages({page, geometry.page_size}, geometry);
        pages.push_back(page);
    }
    return pages;
}

std::string erase_pages(const Target& target, const Options& options, const Console& console)
{
    const FlashGeometry geometry = target.flash_geometry();
    const std::vector<std::uint32_t> pages = pages_to_erase(options, geometry);
    Progress progress{console, "erase", pages.size(), "pages"};
    std::size_t erased = 0;
    for (const std::uint32_t page : pages) {
        stop_if_interrupted(fmt::format("{} of {} pages are erased", erased, pages.size()));
        target.session().check(TESSIT_erase_page(page), fmt::format("erase the page at {:#010x}", page));
        progress.advance(1);
        ++erased;
    }
    progress.finish();
    return fmt::format("{} page{} of {}", pages.size(), pages.size() == 1 ? "" : "s", format_size(geometry.page_size));
}

std::string erase_whole(const Target& target, const Options& options)
{
    const Session& session = target.session();
    if (options.uicr) {
        session.check(TESSIT_erase_uicr(), "erase the UICR");
        return "the UICR";
    }
    session.check(options.mass ? TESSIT_masserase() : TESSIT_erase_all(), "erase the chip");
    return "the whole flash and the UICR";
}

Report erase(const Target& target, const Options& options, const Console& console)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const bool by_page = options.range || !options.pages.empty();
    const std::string what = by_page ? erase_pages(target, options, console) : erase_whole(target, options);
    const std::uint32_t serial = target.session().serial();
    return {fmt::format("Erased {} on probe {} in {}; the CPU is halted.\n", what, serial,
                        format_seconds(Clock::now() - start)),
            {{"probe", serial}, {"erased", what}}};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    if (options.count() != 1) {
        throw Failure{
            ExitCode::usage, "erase needs to be told what to erase",
            "One of: --all (flash and UICR), --range A-B, --page ADDR, --uicr, --mass (flash and UICR through the "
            "mass-erase register)."};
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
