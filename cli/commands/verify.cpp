#include "cli/commands/on_probes.h"
#include "cli/firmware/firmware.h"
#include "cli/memory/chip.h"
#include "cli/memory/comparison.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

using Files = std::vector<std::string>;

Report verify(const Target& target, const Image& image, const Files& files, const Console& console)
{
    RunStateKeeper run_state{target};
    const Narration narration{console, target.session().clock()};
    const Device chip = chip_device(target, narration);
    require_within_chip(image, chip);
    const Mismatches mismatches = compare(chip, image, narration);
    run_state.restore();
    mismatches.require_none(
        fmt::format("{}", fmt::join(files, ", ")), chip.name,
        "`tessit program` writes the file again. Firmware that writes to its own flash also differs.");

    const std::uint32_t serial = target.session().serial();
    return {fmt::format("Verified {} on probe {}: equal.\n", format_size(image.size()), serial),
            {{"image_bytes", image.size()}, {"equal", true}}};
}

ExitCode run(const Invocation& invocation, const Files& files)
{
    const Image image = read_firmware(files);
    return run_on_probes(invocation, [&](Target& target) { return verify(target, image, files, invocation.console); });
}

} // namespace

Command add_verify(const Verb& root)
{
    const Verb verb = root.verb("verify", "Compare the chip with firmware files");
    const auto files = std::make_shared<Files>();
    verb.text_list("FILES", "", *files, "Files as for program").required();
    return {verb, [files](const Invocation& invocation) { return run(invocation, *files); }};
}

} // namespace tessit::cli
