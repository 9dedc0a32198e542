#include "cli/memory/survey.h"

#include "cli/terminal/progress.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace tessit::cli {
namespace {

constexpr std::size_t few_samples = 4; ///< of what is known to differ

// What a unit would be if it were of that state; its bytes were counted for an erased one.
void assume(Unit& unit, UnitState state)
{
    unit.state = state;
    unit.bytes_if_left = state == UnitState::writable ? unit.bytes_if_erased : 0;
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
    : device_{device}, narration_{narration}, inspection_{device, image}, maps_{inspection_.unseen_maps()}
{
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

template <typename CostOf>
double Survey::seconds_of(std::span<const Stretch> stretches, CostOf cost_of) const
{
    double seconds = 0;
    for (const Stretch& stretch : stretches) {
        seconds += std::invoke(cost_of, maps_[stretch.map].memory->traits).of(bytes_of({&stretch, 1}));
    }
    return seconds;
}

double Survey::seconds_to_look(std::span<const Stretch> stretches) const
{
    return seconds_of(stretches, &MemoryTraits::read_cost);
}

double Survey::seconds_to_check(std::span<const Stretch> stretches) const
{
    return seconds_of(stretches, &MemoryTraits::cost_to_check);
}

std::span<Unit> Survey::units_of(const Stretch& stretch)
{
    return std::span{maps_[stretch.map].units}.subspan(stretch.first, stretch.end - stretch.first);
}

std::vector<UnitPlace> Survey::places_of(std::span<const Stretch> stretches)
{
    std::vector<UnitPlace> places;
    for (const Stretch& stretch : stretches) {
        for (std::size_t i = stretch.first; i < stretch.end; ++i) {
            places.push_back({&maps_[stretch.map], i});
        }
    }
    return places;
}

void Survey::look(const Stretch& stretch)
{
    inspection_.look(maps_[stretch.map], stretch.first, stretch.end);
}

void Survey::look_at_all()
{
    inspection_.look_by_checksums(
        places_of(stretches([](const MemoryTraits&, const Unit& unit) { return unit.is_covered; })));
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
    inspection_.look_by_checksums(places_of(bytes_of(with_others) <= 2 * bytes_of(covered) ? with_others : covered));
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
    const std::vector<UnitPlace> units = places_of(stretches);
    for (const UnitPlace& place : units) {
        assume(place.unit(), UnitState::equal);
    }
    // What checksums say is different may be seen to need an erase by a few bytes.
    const bool all_differ = std::ranges::all_of(units, [](const UnitPlace& place) { return place.unit().was_seen; });
    if (units.size() <= sample_count && !all_differ) {
        return;
    }
    const std::size_t count = all_differ ? std::min(units.size(), few_samples) : sample_count;
    for (std::size_t k = 0; k < count; ++k) {
        const std::size_t first = units.size() * k / count;
        const std::size_t end = units.size() * (k + 1) / count;
        const UnitState state = inspection_.state_of_sample(units[(first + end) / 2], k);
        for (std::size_t i = first; i < end; ++i) {
            assume(units[i].unit(), state);
        }
    }
}

std::vector<Survey::Stretch> Survey::elsewhere() const
{
    return stretches([](const MemoryTraits&, const Unit& unit) { return unit.state == UnitState::unknown; });
}

// Stops at the first byte that has to stay.
bool Survey::is_blank(std::span<const Stretch> stretches)
{
    inspection_.look_by_checksums(places_of(stretches));
    std::size_t number = 0;
    for (const Stretch& stretch : stretches) {
        const std::span<Unit> units = units_of(stretch);
        if (std::ranges::all_of(units, &Unit::is_blank)) {
            continue;
        }
        if (std::ranges::any_of(units, [](const Unit& unit) { return unit.state == UnitState::kept; })) {
            return false;
        }
        const UnitPlace first{&maps_[stretch.map], stretch.first};
        if (!inspection_.is_sample_erased(first, number++)) {
            first.unit().state = UnitState::kept;
            return false;
        }
    }
    return std::ranges::all_of(stretches, [this](const Stretch& stretch) {
        const std::span<Unit> units = units_of(stretch);
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
