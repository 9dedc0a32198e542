#include "cli/commands/qspi_content.h"

#include "base/path.h"
#include "cli/firmware/firmware.h"
#include "cli/memory/comparison.h"
#include "cli/memory/eraser.h"
#include "cli/memory/programmer.h"
#include "cli/memory/unit_map.h"
#include "cli/qspi/external_device.h"
#include "cli/terminal/progress.h"
#include "cli/text/lists.h"
#include "cli/text/table.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <optional>

namespace tessit::cli {
namespace {

void require_reachable(const Range& range, const ExternalFlash& flash, const char* what, const char* consequence)
{
    const Range reachable = flash.reachable();
    if (reachable.contains(range)) {
        return;
    }
    if (range.end() <= flash.size()) {
        throw Failure{ExitCode::usage,
                      fmt::format("{} {} reaches beyond the first 16 MiB of the external flash{}", what,
                                  format_range(range), consequence),
                      "Addresses of 24 bits go no further: set --address-bits 32."};
    }
    throw Failure{
        ExitCode::usage,
        fmt::format("{} {} reaches beyond the external flash, which has {} ({}){}", what, format_range(range),
                    format_size(flash.size()), format_range({0, flash.size()}), consequence),
        "Check the addresses; --base tells where the file's addresses begin, --flash-size corrects a size that "
        "the flash tells wrongly."};
}

Image shifted(Image image, std::uint32_t base)
{
    if (base == 0) {
        return image;
    }
    Image moved;
    for (const Segment& segment : image.segments()) {
        if (segment.address < base) {
            throw Failure{ExitCode::usage,
                          fmt::format("the image holds data for {:#010x}, which lies before --base {:#010x}",
                                      segment.address, base),
                          "Give the address at which the file sees the first byte of the external flash."};
        }
        // What did not overlap does not overlap elsewhere.
        static_cast<void>(moved.add(segment.address - base, segment.bytes));
    }
    return moved;
}

Image read_image(const QspiOptions& options)
{
    return shifted(read_firmware(options.files), options.base);
}

void require_image_fits(const Image& image, const ExternalFlash& flash, const char* consequence)
{
    for (const Segment& segment : image.segments()) {
        require_reachable(segment.range(), flash, "the image's part", consequence);
    }
}

Device device_of(const Invocation& invocation, const ExternalFlash& flash)
{
    return external_device(flash, invocation.settings.speed_khz);
}

std::string describe_erases(const Plan& plan)
{
    if (plan.erases.everything) {
        return "the whole flash erased";
    }
    if (plan.erases.blocks.empty()) {
        return "nothing erased";
    }
    return fmt::format("{} erased in {}", format_size(bytes_of(plan.erases.blocks)),
                       format_count(plan.erases.blocks.size(), "blocks"));
}

Report summarize(const ExternalFlash& flash, const Plan& plan, const ProgramResult& result, Clock::Duration elapsed)
{
    const std::vector<Piece> whole{{.range = {0, flash.size()}}};
    std::string text =
        fmt::format("Wrote {} to the external flash: {}, {}, {} written, {}; {}.\n", format_size(plan.image_bytes),
                    describe_changes(plan, "sectors"), describe_erases(plan), format_size(result.written_bytes),
                    describe_verification(plan, result), format_seconds(elapsed));
    Json json{{"image_bytes", plan.image_bytes},
              {"sectors_touched", plan.touched_units},
              {"sectors_changed", plan.changed_units ? Json(*plan.changed_units) : Json()},
              {"sectors_written", plan.written_units},
              {"erased", to_json(plan.erases.everything ? whole : plan.erases.blocks)},
              {"written_bytes", result.written_bytes},
              {"verified_bytes", result.verified_bytes}};
    return {std::move(text), std::move(json)};
}

// The fewest seconds for erasing the whole range.
std::vector<Piece> blocks_of(const Memory& memory, const Range& range)
{
    UnitMap map{&memory, std::vector<Unit>(memory.traits.unit_count(), Unit{.state = UnitState::kept})};
    const auto first = map.units.begin() + static_cast<std::ptrdiff_t>(memory.traits.unit_of(range.first));
    std::for_each(first, first + static_cast<std::ptrdiff_t>(range.length / memory.traits.unit_bytes),
                  [](Unit& unit) { unit.state = UnitState::unwritable; });
    return cheapest_block_erases(map).blocks;
}

Report erase_range(const Invocation& invocation, const QspiOptions& options, const ExternalFlash& flash,
                   const std::optional<Range>& given)
{
    const Clock::Duration start = flash.clock().now();
    const Device device = device_of(invocation, flash);
    const Memory& memory = device.memories.front();
    EraseResult result;
    Range range{0, flash.size()};
    if (given) {
        range = *given;
        require_reachable(range, flash, "the range", "; nothing was erased");
        require_whole_units(range, memory.traits);
        result = erase_blocks(device, blocks_of(memory, range), options.verify, {invocation.console, flash.clock()});
    } else if (options.verify) {
        result = erase_everything(device, device.erase_all, {invocation.console, flash.clock()});
    } else {
        device.erase_all();
    }
    return {fmt::format("Erased {} of the external flash in {}{} ({}).\n", format_size(range.length),
                        format_seconds(flash.clock().now() - start), options.verify ? ", and found blank" : "",
                        describe_proof(result.proof, memory.traits.units)),
            {{"address", range.first},
             {"length", range.length},
             {"verified", options.verify},
             {"proof", name_of(result.proof)}}};
}

} // namespace

ExitCode read_external_flash(const Invocation& invocation, const QspiOptions& options)
{
    const std::optional<Range> given =
        options.range == "all" ? std::nullopt : std::optional{parse_range(options.range)};
    if (!options.output.empty()) {
        require_writable_file(base::path_of(options.output));
    }
    return run_on_external_flash(invocation, options, true, [&](const ExternalFlash& flash) -> Report {
        const Range range = given.value_or(Range{0, flash.size()});
        require_reachable(range, flash, "the range", "");
        std::vector<std::uint8_t> bytes(range.size());
        const bool shows_progress = !options.output.empty() && bytes.size() > transfer_chunk;
        Progress progress{{invocation.console, flash.clock()}, "read", shows_progress ? bytes.size() : 0, "bytes"};
        flash.read(range.first, bytes, [&progress](std::size_t count) { progress.advance(count); });
        progress.finish();
        Json json{{"address", range.first}, {"length", range.length}};
        if (options.output.empty()) {
            json["data"] = hex(bytes);
            return {format_hex_dump(range.first, bytes), std::move(json)};
        }
        write_firmware(base::path_of(options.output), range.first, bytes);
        json["output"] = options.output;
        return {fmt::format("Read {} of the external flash ({}) into {}.\n", format_size(range.length),
                            format_range(range), options.output),
                std::move(json)};
    });
}

ExitCode write_external_flash(const Invocation& invocation, const QspiOptions& options)
{
    const Image image = read_image(options);
    return run_on_external_flash(invocation, options, true, [&](const ExternalFlash& flash) {
        const Clock::Duration start = flash.clock().now();
        require_image_fits(image, flash, "; nothing was erased");
        const Device device = device_of(invocation, flash);
        const Plan plan = plan_programming(device, image, options.erase, {invocation.console, flash.clock()});
        const ProgramResult result = execute(device, plan, options.verify, {invocation.console, flash.clock()});
        return summarize(flash, plan, result, flash.clock().now() - start);
    });
}

ExitCode verify_external_flash(const Invocation& invocation, const QspiOptions& options)
{
    const Image image = read_image(options);
    return run_on_external_flash(invocation, options, true, [&](const ExternalFlash& flash) -> Report {
        require_image_fits(image, flash, "");
        const Device device = device_of(invocation, flash);
        compare(device, image, {invocation.console, flash.clock()})
            .require_none(joined(options.files), device.name, "`tessit qspi write` writes the file again.");
        return {fmt::format("Verified {} of the external flash: equal.\n", format_size(image.size())),
                {{"image_bytes", image.size()}, {"equal", true}}};
    });
}

ExitCode erase_external_flash(const Invocation& invocation, const QspiOptions& options)
{
    if (options.all != options.range.empty()) {
        throw Failure{ExitCode::usage,
                      options.all ? "qspi erase takes one thing to erase at a time, and two are named"
                                  : "qspi erase needs to be told what to erase",
                      "Either --all, or --range A-B in whole sectors of 4 KiB."};
    }
    const std::optional<Range> given = options.all ? std::nullopt : std::optional{parse_range(options.range)};
    return run_on_external_flash(invocation, options, true, [&](const ExternalFlash& flash) {
        return erase_range(invocation, options, flash, given);
    });
}

} // namespace tessit::cli
