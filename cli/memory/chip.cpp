#include "cli/memory/chip.h"

#include "cli/memory/cost.h"
#include "cli/memory/erased_bytes.h"
#include "cli/session/memory_map.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr double bytes_per_word = 4;

// One look whether the CPU is halted, and the block.
TransferCost read_cost(std::uint32_t speed_khz)
{
    return {cost::round_trip + cost::access(speed_khz, 0), cost::swd_word(speed_khz) / bytes_per_word};
}

// The flash controller is enabled before every block and disabled after it: two words are written, and three times the
// controller is asked whether it is ready.
TransferCost write_cost(std::uint32_t speed_khz)
{
    constexpr double accesses = 5;
    return {cost::round_trip + accesses * cost::access(speed_khz, 1) + cost::access(speed_khz, 0),
            (cost::swd_word(speed_khz) + cost::flash_word_write) / bytes_per_word};
}

MemoryTraits flash_traits(const FlashGeometry& geometry, std::uint32_t speed_khz)
{
    return {
        .name = "flash",
        .units = "pages",
        .range = geometry.flash(),
        .unit_bytes = geometry.page_size,
        .write_bytes = 4,
        .bridge_bytes = 256,
        .blocks = {{geometry.page_size, cost::flash_page_erase}},
        .read_cost = read_cost(speed_khz),
        .write_cost = write_cost(speed_khz),
        .without_erase_hint = "Erase the page first.",
        .mismatch_hint = "Run the command again at a lower --speed. If it fails again, the flash or its supply is bad.",
    };
}

MemoryTraits uicr_traits(std::uint32_t speed_khz)
{
    return {
        .name = "UICR",
        .units = "pages",
        .range = memory_map::uicr,
        .unit_bytes = static_cast<std::uint32_t>(memory_map::uicr.length),
        .write_bytes = 4,
        .bridge_bytes = 0,
        .blocks = {},
        .read_cost = read_cost(speed_khz),
        .write_cost = write_cost(speed_khz),
        .without_erase_hint = "Erase the UICR first with `tessit erase --uicr`, or everything with --erase all.",
        .mismatch_hint = "Run the command again at a lower --speed.",
    };
}

Memory on_target(const Target& target, MemoryTraits traits)
{
    return {
        .traits = std::move(traits),
        .read = [&target](std::uint32_t address, std::span<std::uint8_t> bytes,
                          const ChunkDone& done) { target.read(address, bytes, done); },
        .write = [&target](std::uint32_t address, std::span<const std::uint8_t> bytes,
                           const ChunkDone& done) { target.write(address, bytes, WritePath::flash_controller, done); },
        .erase = {},
    };
}

void lift_block_protection(const Target& target, const Narration& narration)
{
    narration.console.note(
        "Something keeps the flash from being changed: lifting the block protection, which resets the chip ...");
    target.session().check(TESSIT_disable_bprot(), "lift the flash's block protection");
    target.halt();
}

} // namespace

Device chip_device(const Target& target, const Narration& narration)
{
    const Session& session = target.session();
    const std::uint32_t speed_khz = session.settings().speed_khz;
    Memory flash = on_target(target, flash_traits(target.flash_geometry(), speed_khz));
    flash.erase = [&session](const Range& page) {
        session.check(TESSIT_erase_page(page.first), fmt::format("erase the page at {:#010x}", page.first));
    };
    Memory uicr = on_target(target, uicr_traits(speed_khz));
    uicr.erase = [&session](const Range&) { session.check(TESSIT_erase_uicr(), "erase the UICR"); };
    return {
        .name = "the chip",
        .memories = {std::move(flash), std::move(uicr)},
        .erase_all_seconds = cost::flash_erase_all,
        .erase_all = [&session] { session.check(TESSIT_erase_all(), "erase the chip"); },
        .lift_protection = [&target, narration] { lift_block_protection(target, narration); },
        .not_erased_hint =
            "Its block protection was lifted and did not help. `tessit recover` erases the chip in another "
            "way; if that fails too, the flash or its supply is bad.",
    };
}

void require_within_chip(const Image& image, const Device& chip)
{
    const Range& flash = chip.memories.front().traits.range;
    for (const Segment& segment : image.segments()) {
        const bool fits = std::ranges::any_of(
            chip.memories, [&segment](const Memory& memory) { return memory.traits.range.contains(segment.range()); });
        if (fits) {
            continue;
        }
        if (memory_map::area_of(segment.address).first == flash.first) {
            throw Failure{ExitCode::usage,
                          fmt::format("the image's data {} reach beyond this chip's flash, which has {} and ends at "
                                      "{:#010x}; nothing was erased",
                                      format_range(segment.range()), format_size(flash.length), flash.end()),
                          "Link the firmware for this chip, or check that the probe is on the right board."};
        }
        throw Failure{ExitCode::usage,
                      fmt::format("the image holds data for {:#010x} ({}), and only flash ({}) and UICR ({}) can be "
                                  "programmed; nothing was erased",
                                  segment.address, memory_map::area_name(segment.address), format_range(flash),
                                  format_range(memory_map::uicr)),
                      "Link the firmware for this chip, or check that the probe is on the right board."};
    }
}

bool protects_chip(const Image& image)
{
    return image.byte_at(memory_map::uicr_approtect).value_or(erased_byte) != erased_byte;
}

} // namespace tessit::cli
