/// Reading memories that an image is to be written to, and noting unit by unit what is there.
#pragma once

#include "cli/memory/contents.h"
#include "cli/memory/memory.h"
#include "cli/memory/unit_map.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessit::cli {

/// A byte of which writes alone cannot make what it is to be.
struct StuckByte
{
    const Memory* memory = nullptr;
    std::uint32_t address = 0;
    std::uint8_t found = 0;
    std::uint8_t wanted = 0;
};

/// One of a map's units.
struct UnitPlace
{
    UnitMap* map = nullptr;
    std::size_t index = 0;

    Unit& unit() const { return map->units[index]; }
    const MemoryTraits& traits() const { return map->memory->traits; }
    Range range() const { return traits().unit(index); }
};

/// Places of a unit from which samples are taken, by turns.
inline constexpr std::size_t sample_count = 16;

class Inspection
{
public:
    /// The image lies within the device's memories. Both outlive the inspection.
    Inspection(const Device& device, const Image& image) : device_{device}, contents_{image} {}

    /// Every memory, with what the image has for each of its units; nobody has looked yet.
    std::vector<UnitMap> unseen_maps() const;

    /// Reads the units from `first` up to `end` at once.
    void look(UnitMap& map, std::size_t first, std::size_t end);
    /// What checksums tell of units that nothing is to be kept of: equal, blank, or neither. Nothing where the device
    /// gives none.
    void look_by_checksums(std::span<const UnitPlace> places);

    /// Reads a few bytes of a unit, at the place that the `number` chooses: whether they are erased.
    bool is_sample_erased(const UnitPlace& place, std::size_t number);
    /// The same: what the unit would be if they were all of it.
    UnitState state_of_sample(const UnitPlace& place, std::size_t number);

    const Contents& contents() const { return contents_; }
    /// Stretches to write in units that are not erased.
    const std::vector<Range>& differences() const { return differences_; }
    /// The first of each unit, in the order in which they were looked at.
    const std::vector<StuckByte>& stuck_bytes() const { return stuck_; }

private:
    std::vector<std::uint8_t> wanted(const Range& range) const;
    std::vector<std::uint8_t> sample(const UnitPlace& place, const Range& range);
    void judge_by_checksum(const UnitPlace& place, std::uint32_t checksum);
    void take(const UnitPlace& place, std::span<const std::uint8_t> found);
    void note_differences(const UnitPlace& place, std::span<const std::uint8_t> content,
                          std::span<const std::uint8_t> found);

    const Device& device_;
    Contents contents_;
    std::vector<Range> differences_;
    std::vector<StuckByte> stuck_;
};

} // namespace tessit::cli
