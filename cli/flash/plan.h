/// What programming an image will do to a chip, worked out completely before anything is erased.
#pragma once

#include "cli/firmware/image.h"
#include "cli/session/target.h"
#include "cli/terminal/console.h"

#include <cstdint>
#include <vector>

namespace tessit::cli {

enum class EraseMode
{
    pages, ///< those that the image touches, as far as they need it
    all,   ///< the whole flash and the UICR
    none,  ///< nothing: the image must be writable over what is there
};

/// A page of flash, or the UICR, which is treated as one page.
struct Page
{
    std::uint32_t address = 0;
    bool is_erased = false;            ///< must be erased first
    std::vector<std::uint8_t> current; ///< before the writes and after the erase
    std::vector<std::uint8_t> wanted;  ///< image and what was there around it
};

struct Plan
{
    bool erases_all = false;
    std::vector<Page> pages;       ///< that change, in ascending order
    std::size_t touched_pages = 0; ///< by the image, the UICR included
    std::uint64_t image_bytes = 0;

    std::size_t equal_pages() const { return touched_pages - pages.size(); }
    std::size_t pages_to_erase() const;
};

struct PlanOptions
{
    EraseMode erase = EraseMode::pages;
    bool allow_protect = false; ///< the image may turn readback protection on
};

/// Refuses an image with data outside flash and UICR, and one that would turn readback protection on unasked.
void require_programmable(const Image& image, const FlashGeometry& geometry, bool allow_protect);

/// Reads what is needed of the chip and plans; changes nothing. Throws a Failure for what cannot be done.
Plan plan_programming(const Target& target, const Image& image, const PlanOptions& options, const Console& console);

} // namespace tessit::cli
