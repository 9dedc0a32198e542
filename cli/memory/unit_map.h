/// What is known of the units of a memory, and the cheapest erases that make way for an image.
#pragma once

#include "cli/memory/memory.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessit::cli {

enum class UnitState : std::uint8_t
{
    unknown,    ///< nobody looked: it may hold what has to stay
    kept,       ///< holds what has to stay
    free,       ///< blank, and the image has nothing for it
    equal,      ///< holds already what it is to hold
    writable,   ///< writes alone make of it what it is to hold
    unwritable, ///< bits have to be set, or nobody looked: it must be erased first
};

struct Unit
{
    UnitState state = UnitState::unknown;
    bool is_touched = false;           ///< the image has something for it
    bool is_covered = false;           ///< the image has something for every byte of it
    bool is_blank = false;             ///< was looked at and is blank
    bool was_seen = false;             ///< whether it is equal is known
    std::uint32_t bytes_if_erased = 0; ///< to be written once it is erased
    std::uint32_t bytes_if_left = 0;   ///< to be written while it is not
    std::optional<std::uint32_t>
        set_byte{}; ///< address of a byte that was seen not blank: shows whether an erase worked
};

/// All units of one memory, in the order of their addresses.
struct UnitMap
{
    const Memory* memory = nullptr;
    std::vector<Unit> units;
};

struct EraseChoice
{
    double seconds = 0; ///< with the writes that follow and their verification; infinite where it cannot be done
    bool everything = false;
    std::vector<Piece> blocks; ///< unless everything is erased

    bool is_possible() const;
    bool covers(const Memory& memory, const Range& unit) const;
};

/// The erases after which all writes cost least. Nothing that has to stay, and nothing unknown, is erased. A memory
/// that has no blocks of its own is never erased while it holds anything.
EraseChoice cheapest_erases(std::span<const UnitMap> maps, double erase_all_seconds);

/// As cheapest_erases, but of one memory and by its blocks only.
EraseChoice cheapest_block_erases(const UnitMap& map);

} // namespace tessit::cli
