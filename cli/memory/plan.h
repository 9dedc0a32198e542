/// What programming an image will do to a device, worked out completely before anything is erased.
#pragma once

#include "cli/memory/contents.h"
#include "cli/memory/memory.h"
#include "cli/memory/unit_map.h"
#include "cli/terminal/narration.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tessit::cli {

enum class EraseMode
{
    needed, ///< as little as it takes, or everything where that costs less and loses nothing
    all,    ///< all memories of the device, whatever they hold
    none,   ///< nothing: the image must be writable over what is there
};

/// Refers to the device and to the image.
struct Plan
{
    explicit Plan(Contents wanted) : contents{std::move(wanted)} {}

    Contents contents;
    EraseChoice erases;
    std::vector<Piece> set_bytes; ///< one of each erased unit that was seen not blank
    std::vector<Piece> writes;    ///< ascending within each memory
    std::vector<Piece> changes;   ///< whole units that are written, to be compared afterwards

    std::uint64_t image_bytes = 0;
    std::size_t touched_units = 0; ///< by the image, of all memories
    std::size_t written_units = 0;
    std::size_t erased_units = 0;             ///< by block; none where everything is erased
    std::optional<std::size_t> changed_units; ///< of the touched ones; nothing when not all of them were looked at
    std::vector<Piece> changed;               ///< those that were found to differ

    bool changes_nothing() const { return erases.blocks.empty() && !erases.everything && writes.empty(); }
};

/// Reads what is needed and plans; changes nothing. The image lies within the device. Throws a Failure where the mode
/// cannot do it.
Plan plan_programming(const Device& device, const Image& image, EraseMode mode, const Narration& narration);

} // namespace tessit::cli
