#include "cli/flash/plan.h"

#include "cli/flash/flash_bytes.h"
#include "cli/session/memory_map.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace tessit::cli {
namespace {

// First addresses of the pages that hold data of the image, with their sizes.
std::vector<Range> touched_pages(const Image& image, const FlashGeometry& geometry)
{
    std::set<std::uint32_t> addresses;
    bool touches_uicr = false;
    for (const Segment& segment : image.segments()) {
        if (memory_map::uicr.contains(std::uint64_t{segment.address})) {
            touches_uicr = true;
            continue;
        }
        for (std::uint64_t page = geometry.page_of(segment.address); page < segment.range().end();
             page += geometry.page_size) {
            addresses.insert(static_cast<std::uint32_t>(page));
        }
    }
    std::vector<Range> pages;
    std::ranges::transform(addresses, std::back_inserter(pages), [&](std::uint32_t address) {
        return Range{address, geometry.page_size};
    });
    if (touches_uicr) {
        pages.push_back(memory_map::uicr);
    }
    return pages;
}

// Whether erasing everything loses nothing: the image replaces the whole flash, and the UICR, which goes with it, is
// blank. Erasing then costs less than reading the flash to see what of it could stay.
bool replaces_everything(const Target& target, const Image& image, const FlashGeometry& geometry)
{
    return image.covers(geometry.flash()) && image.segments().size() == 1 && is_erased(target.read(memory_map::uicr));
}

void require_writable(const Page& page, EraseMode mode)
{
    const auto offset = first_unwritable(page.current, page.wanted);
    if (!offset) {
        return;
    }
    const std::uint64_t address = page.address + *offset;
    if (memory_map::uicr.contains(address)) {
        throw Failure{ExitCode::failure,
                      fmt::format("the UICR byte at {:#010x} holds {:#04x} and cannot become {:#04x} without an erase",
                                  address, page.current[*offset], page.wanted[*offset]),
                      "Erase the UICR first with `tessit erase --uicr`, or everything with --erase all."};
    }
    if (mode == EraseMode::none) {
        throw Failure{ExitCode::failure,
                      fmt::format("the flash byte at {:#010x} holds {:#04x} and cannot become {:#04x} without an erase",
                                  address, page.current[*offset], page.wanted[*offset]),
                      "Leave --erase none away, so that the page is erased."};
    }
}

Page plan_page(const Range& range, std::vector<std::uint8_t> current, const Image& image, EraseMode mode)
{
    Page page{range.first, false, std::move(current), {}};
    page.wanted = page.current;
    image.overlay(range, page.wanted);
    require_writable(page, mode);
    if (first_unwritable(page.current, page.wanted)) {
        page.is_erased = true;
        std::ranges::fill(page.current, erased_byte);
    }
    return page;
}

} // namespace

std::size_t Plan::pages_to_erase() const
{
    return static_cast<std::size_t>(std::ranges::count(pages, true, &Page::is_erased));
}

void require_programmable(const Image& image, const FlashGeometry& geometry, bool allow_protect)
{
    for (const Segment& segment : image.segments()) {
        if (geometry.flash().contains(segment.range()) || memory_map::uicr.contains(segment.range())) {
            continue;
        }
        const bool begins_in_flash = geometry.flash().contains(std::uint64_t{segment.address});
        const std::uint64_t outside = begins_in_flash ? geometry.size : segment.address;
        throw Failure{
            ExitCode::failure,
            fmt::format("the image holds data for {:#010x} ({}), which is neither in this chip's flash ({}, {}) "
                        "nor in its UICR; nothing was erased",
                        outside, memory_map::area_name(static_cast<std::uint32_t>(outside)),
                        format_range(geometry.flash()), format_size(geometry.size)),
            "Link the firmware for this chip, or check that the probe is on the right board."};
    }
    if (!allow_protect && image.byte_at(memory_map::uicr_approtect).value_or(erased_byte) != erased_byte) {
        throw Failure{
            ExitCode::failure,
            fmt::format("the image would turn readback protection on (UICR word {:#010x}); nothing was erased",
                        memory_map::uicr_approtect),
            "Add --allow-protect if the chip shall be locked; only `tessit recover` unlocks it, and erases it."};
    }
}

Plan plan_programming(const Target& target, const Image& image, const PlanOptions& options, const Console& console)
{
    const FlashGeometry geometry = target.flash_geometry();
    require_programmable(image, geometry, options.allow_protect);

    Plan plan;
    plan.image_bytes = image.size();
    const std::vector<Range> ranges = touched_pages(image, geometry);
    plan.touched_pages = ranges.size();
    plan.erases_all = options.erase == EraseMode::all ||
                      (options.erase == EraseMode::pages && replaces_everything(target, image, geometry));

    std::uint64_t to_read = 0;
    for (const Range& range : ranges) {
        to_read += plan.erases_all ? 0 : range.length;
    }
    Progress progress{console, "read", to_read, "bytes"};
    for (const Range& range : ranges) {
        std::vector<std::uint8_t> current(range.length, erased_byte);
        if (!plan.erases_all) {
            target.read(range.first, current, [&progress](std::size_t bytes) { progress.advance(bytes); });
        }
        Page page = plan_page(range, std::move(current), image, options.erase);
        if (page.is_erased || page.current != page.wanted) {
            plan.pages.push_back(std::move(page));
        }
    }
    progress.finish();
    return plan;
}

} // namespace tessit::cli
