#include "cli/commands/on_probes.h"
#include "cli/firmware/firmware.h"
#include "cli/loader/choice.h"
#include "cli/memory/chip.h"
#include "cli/memory/comparison.h"
#include "cli/text/lists.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    std::vector<std::string> files;
    LoaderOptions loader;
};

Report verify(const Target& target, const Image& image, const Options& options, const Console& console)
{
    RunStateKeeper run_state{target};
    const Narration narration{console, target.session().clock()};
    Device chip = chip_device(target, narration);
    require_within_chip(image, chip);
    const std::unique_ptr<FlashLoader> loader = employ_loader(options.loader, image, target, chip, narration);
    const Mismatches mismatches = compare(chip, image, narration);
    if (loader) {
        loader->give_back();
    }
    run_state.restore();
    mismatches.require_none(
        joined(options.files), chip.name,
        "`tessit program` writes the file again. Firmware that writes to its own flash also differs.");

    const std::uint32_t serial = target.session().serial();
    Json json{{"image_bytes", image.size()}, {"equal", true}};
    add_loader_result(options.loader, loader.get(), json);
    return {fmt::format("Verified {} on probe {}: equal.\n", format_size(image.size()), serial), std::move(json)};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    const Image image = read_firmware(options.files);
    return run_on_probes(invocation,
                         [&](Target& target) { return verify(target, image, options, invocation.console); });
}

} // namespace

Command add_verify(const Verb& root)
{
    const Verb verb = root.verb("verify", "Compare the chip with firmware files");
    const auto options = std::make_shared<Options>();
    verb.text_list("FILES", "", options->files, "Files as for program").required();
    add_loader_options(verb, options->loader);
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
