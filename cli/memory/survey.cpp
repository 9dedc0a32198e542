#include "cli/memory/survey.h"

#include "cli/memory/crc32.h"
#include "cli/memory/erased_bytes.h"
#include "cli/memory/stretches.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tessit::cli {
namespace {

constexpr std::size_t sample_count = 16;
constexpr std::size_t few_samples = 4; ///< of what is known to differ
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

UnitState compare(std::span<const std::uint8_t> found, std::span<const std::uint8_t> wanted)
{
    if (std::ranges::equal(found, wanted)) {
        return UnitState::equal;
    }
    return first_unwritable(found, wanted) ? UnitState::unwritable : UnitState::writable;
}

// What a unit would be if it were of that state; its bytes were counted for an erased one.
void assume(Unit& unit, UnitState state)
{
    unit.state = state;
    unit.bytes_if_left = state == UnitState::writable ? unit.bytes_if_erased : 0;
}

void note_set_byte(Unit& unit, const Range& range, std::span<const std::uint8_t> found)
{
    const auto set = std::ranges::find_if(found, [](std::uint8_t byte) { return byte != erased_byte; });
    if (set != found.end()) {
        unit.set_byte = range.first + static_cast<std::uint32_t>(set - found.begin());
    }
}

// Samples lie at different places of their units, so that they do not all meet what every unit begins with.
Range sample_range(const MemoryTraits& traits, std::size_t index, std::size_t number)
{
    const std::size_t places = traits.unit_bytes / sample_bytes;
    const std::size_t place = number * places / sample_count % places;
    return {traits.unit(index).first + static_cast<std::uint32_t>(place * sample_bytes), sample_bytes};
}

std::vector<UnitMap> with_unknown_free(std::vector<UnitMap> maps)
{
    for (UnitMap& map : maps) {
        for (Unit& unit : map.units) {
            if (unit.state == UnitState::unknown) {
                unit.state = UnitState::free;
                unit.is_blank = true;
            }
        }
    }
    return maps;
}

} // namespace

Survey::Survey(const Device& device, const Image& image, const Narration& narration)
    : device_{device}, narration_{narration}, contents_{image}
{
    for (const Memory& memory : device.memories) {
        const MemoryTraits& traits = memory.traits;
        UnitMap map{&memory, std::vector<Unit>(traits.unit_count())};
        std::vector<std::uint8_t> wanted(traits.unit_bytes);
        const std::vector<std::uint8_t> erased(traits.unit_bytes, erased_byte);
        for (const Segment& segment : image.segments_within(traits.range)) {
            const std::size_t last = traits.unit_of(std::min(segment.range().end(), traits.range.end()) - 1);
            for (std::size_t i = traits.unit_of(segment.address); i <= last; ++i) {
                Unit& unit = map.units[i];
                unit.is_touched = true;
                unit.is_covered = image.covers(traits.unit(i));
                contents_.fill(traits.unit(i), wanted);
                unit.bytes_if_erased = bytes_of_words_that_differ(traits, wanted, erased);
            }
        }
        maps_.push_back(std::move(map));
    }
}

// Neighbours in one stretch, as long as one call reads.
template <typename Predicate>
std::vector<Survey::Stretch> Survey::stretches(Predicate is_wanted) const
{
    std::vector<Stretch> stretches;
    for (std::size_t m = 0; m < maps_.size(); ++m) {
        const MemoryTraits& traits = maps_[m].memory->traits;
        for (std::size_t i = 0; i < maps_[m].units.size(); ++i) {
            if (!is_wanted(traits, maps_[m].units[i])) {
                continue;
            }
            const bool joins = !stretches.empty() && stretches.back().map == m && stretches.back().end == i &&
                               (i - stretches.back().first) * traits.unit_bytes < transfer_chunk;
            if (joins) {
                ++stretches.back().end;
            } else {
                stretches.push_back({m, i, i + 1});
            }
        }
    }
    return stretches;
}

std::uint64_t Survey::bytes_of(std::span<const Stretch> stretches) const
{
    std::uint64_t bytes = 0;
    for (const Stretch& stretch : stretches) {
        bytes += (stretch.end - stretch.first) * maps_[stretch.map].memory->traits.unit_bytes;
    }
    return bytes;
}

double Survey::seconds_to_look(std::span<const Stretch> stretches) const
{
    double seconds = 0;
    for (const Stretch& stretch : stretches) {
        seconds += maps_[stretch.map].memory->traits.read_cost.of(bytes_of({&stretch, 1}));
    }
    return seconds;
}

double Survey::seconds_to_check(std::span<const Stretch> stretches) const
{
    double seconds = 0;
    for (const Stretch& stretch : stretches) {
        seconds += maps_[stretch.map].memory->traits.cost_to_check().of(bytes_of({&stretch, 1}));
    }
    return seconds;
}

// What checksums tell of units that nothing is to be kept of: equal, blank, or neither.
void Survey::look_by_checksums(std::span<const Stretch> stretches)
{
    if (!device_.checksums || stretches.empty()) {
        return;
    }
    std::vector<std::pair<UnitMap*, std::size_t>> units;
    std::vector<Range> ranges;
    for (const Stretch& stretch : stretches) {
        UnitMap& map = maps_[stretch.map];
        for (std::size_t i = stretch.first; i < stretch.end; ++i) {
            units.emplace_back(&map, i);
            ranges.push_back(map.memory->traits.unit(i));
        }
    }
    const auto checksums = device_.checksums(ranges);
    for (std::size_t k = 0; checksums && k < units.size(); ++k) {
        judge_by_checksum(*units[k].first, units[k].second, (*checksums)[k]);
    }
}

void Survey::judge_by_checksum(UnitMap& map, std::size_t index, std::uint32_t checksum)
{
    const MemoryTraits& traits = map.memory->traits;
    Unit& unit = map.units[index];
    std::vector<std::uint8_t> expected(traits.unit_bytes, erased_byte);
    if (checksum == crc32(expected)) {
        look_at_unit(map, index, expected);
        return;
    }
    if (!unit.is_touched) {
        unit.state = UnitState::kept;
        return;
    }
    contents_.fill(traits.unit(index), expected);
    if (checksum == crc32(expected)) {
        look_at_unit(map, index, expected);
        return;
    }
    unit.was_seen = true; // how it differs, a look would tell
}

void Survey::look(const Stretch& stretch)
{
    UnitMap& map = maps_[stretch.map];
    const MemoryTraits& traits = map.memory->traits;
    std::vector<std::uint8_t> found((stretch.end - stretch.first) * traits.unit_bytes);
    map.memory->read(traits.unit(stretch.first).first, found, {});
    for (std::size_t i = stretch.first; i < stretch.end; ++i) {
        look_at_unit(map, i, std::span{found}.subspan((i - stretch.first) * traits.unit_bytes, traits.unit_bytes));
    }
}

void Survey::look_at_unit(UnitMap& map, std::size_t index, std::span<const std::uint8_t> found)
{
    const MemoryTraits& traits = map.memory->traits;
    const Range range = traits.unit(index);
    Unit& unit = map.units[index];
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
    std::vector<std::uint8_t> wanted(range.size());
    contents_.fill(range, wanted);
    unit.state = compare(found, wanted);
    unit.bytes_if_erased =
        bytes_of_words_that_differ(traits, wanted, std::vector<std::uint8_t>(range.size(), erased_byte));
    unit.bytes_if_left = bytes_of_words_that_differ(traits, wanted, found);
    if (unit.state == UnitState::unwritable) {
        const std::size_t offset = *first_unwritable(found, wanted);
        stuck_.push_back({map.memory, range.first + static_cast<std::uint32_t>(offset), found[offset], wanted[offset]});
        return;
    }
    StretchBuilder builder{traits.bridge_bytes};
    for (std::uint32_t i = 0; i < range.length; i += traits.write_bytes) {
        const auto piece = std::span{wanted}.subspan(i, traits.write_bytes);
        builder.add({range.first + i, traits.write_bytes}, !std::ranges::equal(piece, found.subspan(i, piece.size())),
                    is_erased(piece));
    }
    std::ranges::copy(builder.take(), std::back_inserter(differences_));
}

void Survey::look_at_all()
{
    look_by_checksums(stretches([](const MemoryTraits&, const Unit& unit) { return unit.is_covered; }));
    const std::vector<Stretch> all = stretches(
        [](const MemoryTraits&, const Unit& unit) { return unit.is_touched && unit.state == UnitState::unknown; });
    Progress progress{narration_, "read", bytes_of(all), "bytes"};
    for (const Stretch& stretch : all) {
        look(stretch);
        progress.advance(bytes_of({&stretch, 1}));
    }
    progress.finish();
}

void Survey::look_while_it_pays()
{
    const auto is_optional = [](const MemoryTraits& traits, const Unit& unit) {
        return unit.is_covered && !traits.blocks.empty();
    };
    const std::vector<Stretch> needed = stretches(
        [&](const MemoryTraits& traits, const Unit& unit) { return unit.is_touched && !is_optional(traits, unit); });
    // With what else an erase of everything would clear, where that is not much more.
    const std::vector<Stretch> covered = stretches(is_optional);
    const std::vector<Stretch> with_others = stretches(
        [&](const MemoryTraits& traits, const Unit& unit) { return is_optional(traits, unit) || !unit.is_touched; });
    look_by_checksums(bytes_of(with_others) <= 2 * bytes_of(covered) ? with_others : covered);
    const std::vector<Stretch> optional = stretches([&](const MemoryTraits& traits, const Unit& unit) {
        return is_optional(traits, unit) && unit.state == UnitState::unknown;
    });
    guess(optional);

    Progress progress{narration_, "read", bytes_of(needed) + bytes_of(optional), "bytes"};
    for (const Stretch& stretch : needed) {
        look(stretch);
        progress.advance(bytes_of({&stretch, 1}));
    }
    look_while_it_pays(optional, progress);
    progress.finish();
}

void Survey::look_while_it_pays(std::span<const Stretch> stretches, Progress& progress)
{
    for (; !stretches.empty(); stretches = stretches.subspan(1)) {
        std::vector<UnitMap> unseen = with_unseen(stretches);
        if (seconds_at_best(maps_) + seconds_to_look(stretches) >= seconds_at_best(unseen)) {
            given_up_.assign(stretches.begin(), stretches.end());
            guesses_ = std::exchange(maps_, std::move(unseen));
            return;
        }
        look(stretches.front());
        progress.advance(bytes_of(stretches.first(1)));
    }
}

std::vector<UnitMap> Survey::with_unseen(std::span<const Stretch> stretches) const
{
    std::vector<UnitMap> maps = maps_;
    for (const Stretch& stretch : stretches) {
        for (std::size_t i = stretch.first; i < stretch.end; ++i) {
            assume(maps[stretch.map].units[i], UnitState::unwritable);
        }
    }
    return maps;
}

// What it did not pay to look at, as long as an erase of everything was hoped for, may be worth it after all.
void Survey::resume_looking()
{
    for (const Stretch& stretch : given_up_) {
        for (std::size_t i = stretch.first; i < stretch.end; ++i) {
            maps_[stretch.map].units[i] = guesses_[stretch.map].units[i];
        }
    }
    const std::vector<Stretch> unseen = std::exchange(given_up_, {});
    Progress progress{narration_, "read", bytes_of(unseen), "bytes"};
    look_while_it_pays(unseen, progress);
    progress.finish();
}

// Each unit is guessed to be as the nearest one of which a few bytes were read. Of few units none is read: to look at
// them whole takes no longer.
void Survey::guess(std::span<const Stretch> stretches)
{
    std::vector<std::pair<UnitMap*, std::size_t>> units;
    for (const Stretch& stretch : stretches) {
        for (std::size_t i = stretch.first; i < stretch.end; ++i) {
            units.emplace_back(&maps_[stretch.map], i);
            assume(maps_[stretch.map].units[i], UnitState::equal);
        }
    }
    // What checksums say is different may be seen to need an erase by a few bytes.
    const bool all_differ =
        std::ranges::all_of(units, [](const auto& unit) { return unit.first->units[unit.second].was_seen; });
    if (units.size() <= sample_count && !all_differ) {
        return;
    }
    const std::size_t count = all_differ ? std::min(units.size(), few_samples) : sample_count;
    for (std::size_t k = 0; k < count; ++k) {
        const std::size_t first = units.size() * k / count;
        const std::size_t end = units.size() * (k + 1) / count;
        const auto [map, index] = units[(first + end) / 2];
        const std::vector<std::uint8_t> found = sample(*map, index, k);
        std::vector<std::uint8_t> wanted(found.size());
        contents_.fill(sample_range(map->memory->traits, index, k), wanted);
        for (std::size_t i = first; i < end; ++i) {
            assume(units[i].first->units[units[i].second], compare(found, wanted));
        }
    }
}

std::vector<std::uint8_t> Survey::sample(UnitMap& map, std::size_t index, std::size_t number)
{
    const Range range = sample_range(map.memory->traits, index, number);
    std::vector<std::uint8_t> found(range.size());
    map.memory->read(range.first, found, {});
    note_set_byte(map.units[index], range, found);
    return found;
}

std::vector<Survey::Stretch> Survey::elsewhere() const
{
    return stretches([](const MemoryTraits&, const Unit& unit) { return unit.state == UnitState::unknown; });
}

// Stops at the first byte that has to stay.
bool Survey::is_blank(std::span<const Stretch> stretches)
{
    look_by_checksums(stretches);
    std::size_t number = 0;
    for (const Stretch& stretch : stretches) {
        const auto units = std::span{maps_[stretch.map].units}.subspan(stretch.first, stretch.end - stretch.first);
        if (std::ranges::all_of(units, &Unit::is_blank)) {
            continue;
        }
        if (std::ranges::any_of(units, [](const Unit& unit) { return unit.state == UnitState::kept; })) {
            return false;
        }
        UnitMap& map = maps_[stretch.map];
        if (!is_erased(sample(map, stretch.first, number++))) {
            map.units[stretch.first].state = UnitState::kept;
            return false;
        }
    }
    return std::ranges::all_of(stretches, [this](const Stretch& stretch) {
        const auto units = std::span{maps_[stretch.map].units}.subspan(stretch.first, stretch.end - stretch.first);
        if (!std::ranges::all_of(units, &Unit::is_blank)) {
            look(stretch);
        }
        return std::ranges::all_of(units, &Unit::is_blank);
    });
}

// What is unknown elsewhere may turn out to be blank, at the cost of looking.
double Survey::seconds_at_best(const std::vector<UnitMap>& maps) const
{
    const double seconds = cheapest_erases(maps, device_.erase_all_seconds).seconds;
    const EraseChoice hoped = cheapest_erases(with_unknown_free(maps), device_.erase_all_seconds);
    return hoped.everything ? std::min(seconds, hoped.seconds + seconds_to_check(elsewhere())) : seconds;
}

EraseChoice Survey::choose_erases()
{
    EraseChoice choice = cheapest_erases(maps_, device_.erase_all_seconds);
    const EraseChoice hoped = cheapest_erases(with_unknown_free(maps_), device_.erase_all_seconds);
    const std::vector<Stretch> unknown = elsewhere();
    const bool may_pay = hoped.everything && hoped.seconds + seconds_to_check(unknown) < choice.seconds;
    if (!may_pay) {
        return choice;
    }
    if (!is_blank(unknown)) {
        resume_looking();
    }
    return cheapest_erases(maps_, device_.erase_all_seconds);
}

void Survey::look_at_nothing()
{
    for (UnitMap& map : maps_) {
        for (Unit& unit : map.units) {
            unit.state = unit.is_touched ? UnitState::unwritable : UnitState::free;
        }
    }
}

} // namespace tessit::cli
