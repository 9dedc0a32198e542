#include "cli/loader/choice.h"

#include "cli/loader/serving.h"

#include <algorithm>

namespace tessit::cli {
namespace {

// To save what it needs of RAM, to load it and to put all back takes as long as to read so much.
constexpr std::uint64_t smallest_worthwhile = std::uint64_t{24} * 1024;

constexpr Choice<LoaderUse> uses[]{
    {"auto", LoaderUse::automatic}, {"on", LoaderUse::always}, {"off", LoaderUse::never}};
constexpr Choice<CompareBy> comparisons[]{{"crc", CompareBy::checksums}, {"read", CompareBy::reading}};

bool is_wanted(const LoaderOptions& options, const Image& image, const Device& chip)
{
    std::uint64_t bytes = 0;
    for (const Segment& segment : image.segments_within(chip.memories.front().traits.range)) {
        bytes += segment.range().length;
    }
    return options.use == LoaderUse::always || (options.use == LoaderUse::automatic && bytes >= smallest_worthwhile);
}

} // namespace

void add_loader_options(const Verb& verb, LoaderOptions& options)
{
    verb.choice("--loader", uses, options.use,
                "Use a small program in the chip's RAM that works at the flash's speed: where it can and is worth it, "
                "in any case, or never")
        .with_default("auto");
    verb.choice("--compare", comparisons, options.compare_by,
                "Compare by CRC-32, which that program computes on the chip, or by reading every byte back")
        .with_default("crc");
}

std::unique_ptr<FlashLoader> employ_loader(const LoaderOptions& options, const Image& image, const Target& target,
                                           Device& chip, const Narration& narration)
{
    if (!is_wanted(options, image, chip)) {
        return nullptr;
    }
    auto loader = std::make_unique<FlashLoader>(target, narration);
    if (options.use == LoaderUse::always && !loader->can_run()) {
        throw Failure{ExitCode::failure,
                      "the flash loader does not run on this chip: too little of its RAM has power, or its CPU does "
                      "not execute",
                      "Leave --loader on away; `tessit ram on` powers all RAM."};
    }
    serve(chip, *loader, target.session().settings().speed_khz);
    if (options.compare_by == CompareBy::checksums) {
        serve_checksums(chip, *loader);
    }
    return loader;
}

void add_loader_result(const LoaderOptions& options, const FlashLoader* loader, Json& json)
{
    const bool has_served = loader != nullptr && loader->has_served();
    json["loader"] = has_served;
    json["compared_by"] = has_served && options.compare_by == CompareBy::checksums ? "checksums" : "reading";
}

} // namespace tessit::cli
