#include "cli/memory/inspection.h"

#include "cli/memory/crc32.h"
#include "cli/memory/erased_bytes.h"
#include "cli/memory/stretches.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tessit::cli {
namespace {

constexpr std::size_t sample_bytes = 16;

std::uint32_t bytes_of_words_that_differ(const MemoryTraits& traits, std::span<const std::uint8_t> wanted,
                                         std::span<const std::uint8_t> there)
{
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < wanted.size(); i += traits.write_bytes) {
        const auto piece = wanted.subspan(i, traits.write_bytes);
        count += std::ranges::equal(piece, there.subspan(i, traits.write_bytes)) ? 0 : traits.write_bytes;
    }
    return count;
}

std::uint32_t bytes_if_erased(const MemoryTraits& traits, std::span<const std::uint8_t> wanted)
{
    return bytes_of_words_that_differ(traits, wanted, std::vector<std::uint8_t>(wanted.size(), erased_byte));
}

UnitState compare(std::span<const std::uint8_t> found, std::span<const std::uint8_t> wanted)
{
    if (std::ranges::equal(found, wanted)) {
        return UnitState::equal;
    }
    return first_unwritable(found, wanted) ? UnitState::unwritable : UnitState::writable;
}

void note_set_byte(Unit& unit, const Range& range, std::span<const std::uint8_t> found)
{
    const auto set = std::ranges::find_if(found, [](std::uint8_t byte) { return byte != erased_byte; });
    if (set != found.end()) {
        unit.set_byte = range.first + static_cast<std::uint32_t>(set - found.begin());
    }
}

// Samples lie at different places of their units, so that they do not all meet what every unit begins with.
Range sample_range(const UnitPlace& place, std::size_t number)
{
    const std::size_t places = place.traits().unit_bytes / sample_bytes;
    const std::size_t chosen = number * places / sample_count % places;
    return {place.range().first + static_cast<std::uint32_t>(chosen * sample_bytes), sample_bytes};
}

} // namespace

std::vector<UnitMap> Inspection::unseen_maps() const
{
    std::vector<UnitMap> maps;
    for (const Memory& memory : device_.memories) {
        const MemoryTraits& traits = memory.traits;
        UnitMap map{&memory, std::vector<Unit>(traits.unit_count())};
        for (const Segment& segment : contents_.image().segments_within(traits.range)) {
            const std::size_t last = traits.unit_of(std::min(segment.range().end(), traits.range.end()) - 1);
            for (std::size_t i = traits.unit_of(segment.address); i <= last; ++i) {
                Unit& unit = map.units[i];
                unit.is_touched = true;
                unit.is_covered = contents_.image().covers(traits.unit(i));
                unit.bytes_if_erased = bytes_if_erased(traits, wanted(traits.unit(i)));
            }
        }
        maps.push_back(std::move(map));
    }
    return maps;
}

void Inspection::look(UnitMap& map, std::size_t first, std::size_t end)
{
    const MemoryTraits& traits = map.memory->traits;
    std::vector<std::uint8_t> found((end - first) * traits.unit_bytes);
    map.memory->read(traits.unit(first).first, found, {});
    for (std::size_t i = first; i < end; ++i) {
        take({&map, i}, std::span{found}.subspan((i - first) * traits.unit_bytes, traits.unit_bytes));
    }
}

void Inspection::look_by_checksums(std::span<const UnitPlace> places)
{
    if (!device_.checksums || places.empty()) {
        return;
    }
    std::vector<Range> ranges;
    std::ranges::transform(places, std::back_inserter(ranges), &UnitPlace::range);
    const auto checksums = device_.checksums(ranges);
    for (std::size_t i = 0; checksums && i < places.size(); ++i) {
        judge_by_checksum(places[i], (*checksums)[i]);
    }
}

bool Inspection::is_sample_erased(const UnitPlace& place, std::size_t number)
{
    return is_erased(sample(place, sample_range(place, number)));
}

UnitState Inspection::state_of_sample(const UnitPlace& place, std::size_t number)
{
    const Range range = sample_range(place, number);
    return compare(sample(place, range), wanted(range));
}

std::vector<std::uint8_t> Inspection::wanted(const Range& range) const
{
    std::vector<std::uint8_t> bytes(range.size());
    contents_.fill(range, bytes);
    return bytes;
}

std::vector<std::uint8_t> Inspection::sample(const UnitPlace& place, const Range& range)
{
    std::vector<std::uint8_t> found(range.size());
    place.map->memory->read(range.first, found, {});
    note_set_byte(place.unit(), range, found);
    return found;
}

void Inspection::judge_by_checksum(const UnitPlace& place, std::uint32_t checksum)
{
    Unit& unit = place.unit();
    const std::vector<std::uint8_t> blank(place.traits().unit_bytes, erased_byte);
    if (checksum == crc32(blank)) {
        take(place, blank);
        return;
    }
    if (!unit.is_touched) {
        unit.state = UnitState::kept;
        return;
    }
    const std::vector<std::uint8_t> expected = wanted(place.range());
    if (checksum == crc32(expected)) {
        take(place, expected);
        return;
    }
    unit.was_seen = true; // how it differs, a look would tell
}

void Inspection::take(const UnitPlace& place, std::span<const std::uint8_t> found)
{
    const MemoryTraits& traits = place.traits();
    const Range range = place.range();
    Unit& unit = place.unit();
    unit.was_seen = true;
    unit.is_blank = is_erased(found);
    note_set_byte(unit, range, found);
    if (!unit.is_touched) {
        unit.state = unit.is_blank ? UnitState::free : UnitState::kept;
        return;
    }
    if (!unit.is_covered) {
        contents_.keep_around_image(range, found);
    }
    const std::vector<std::uint8_t> content = wanted(range);
    unit.state = compare(found, content);
    unit.bytes_if_erased = bytes_if_erased(traits, content);
    unit.bytes_if_left = bytes_of_words_that_differ(traits, content, found);
    note_differences(place, content, found);
}

void Inspection::note_differences(const UnitPlace& place, std::span<const std::uint8_t> content,
                                  std::span<const std::uint8_t> found)
{
    const MemoryTraits& traits = place.traits();
    const Range range = place.range();
    if (const auto stuck = first_unwritable(found, content)) {
        stuck_.push_back(
            {place.map->memory, range.first + static_cast<std::uint32_t>(*stuck), found[*stuck], content[*stuck]});
        return;
    }
    StretchBuilder builder{traits.bridge_bytes};
    for (std::uint32_t i = 0; i < range.length; i += traits.write_bytes) {
        const auto piece = content.subspan(i, traits.write_bytes);
        builder.add({range.first + i, traits.write_bytes}, !std::ranges::equal(piece, found.subspan(i, piece.size())),
                    is_erased(piece));
    }
    std::ranges::copy(builder.take(), std::back_inserter(differences_));
}

} // namespace tessit::cli
