#include "cli/memory/plan.h"

#include "cli/memory/stretches.h"
#include "cli/memory/survey.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tessit::cli {
namespace {

void refuse_stuck(const StuckByte& stuck, const char* hint)
{
    throw Failure{
        ExitCode::failure,
        fmt::format("the {} byte at {:#010x} holds {:#04x} and cannot become {:#04x} without an erase; nothing "
                    "was changed",
                    stuck.memory->traits.name, stuck.address, stuck.found, stuck.wanted),
        hint};
}

void require_erasable(const Survey& survey, EraseMode mode)
{
    for (const StuckByte& stuck : survey.stuck_bytes()) {
        if (stuck.memory->traits.blocks.empty()) {
            refuse_stuck(stuck, stuck.memory->traits.without_erase_hint);
        }
        if (mode == EraseMode::none) {
            refuse_stuck(stuck, "Leave --erase none away, so that what needs it is erased.");
        }
    }
}

class PlanBuilder
{
public:
    PlanBuilder(const Survey& survey, EraseChoice erases)
        : survey_{survey}, differences_{survey.differences()}, plan_{survey.contents()}
    {
        std::ranges::sort(differences_, {}, &Range::first);
        plan_.erases = std::move(erases);
        plan_.image_bytes = survey.contents().image().size();
    }

    Plan build()
    {
        bool all_seen = true;
        for (const UnitMap& map : survey_.maps()) {
            StretchBuilder writes{map.memory->traits.bridge_bytes};
            StretchBuilder changes{0};
            for (std::size_t i = 0; i < map.units.size(); ++i) {
                add_unit(map, i, writes, changes);
                const Unit& unit = map.units[i];
                all_seen = all_seen && (unit.was_seen || !unit.is_touched);
                if (unit.is_touched && unit.state != UnitState::equal) {
                    plan_.changed.push_back({map.memory, map.memory->traits.unit(i)});
                }
            }
            append(plan_.writes, *map.memory, writes.take());
            append(plan_.changes, *map.memory, changes.take());
        }
        if (all_seen) {
            plan_.changed_units = plan_.changed.size();
        }
        return std::move(plan_);
    }

private:
    void add_unit(const UnitMap& map, std::size_t index, StretchBuilder& writes, StretchBuilder& changes)
    {
        const MemoryTraits& traits = map.memory->traits;
        const Unit& unit = map.units[index];
        const Range range = traits.unit(index);
        const bool is_erased = plan_.erases.covers(*map.memory, range);
        plan_.erased_units += is_erased && !plan_.erases.everything ? 1U : 0U;
        if (is_erased && unit.set_byte) {
            plan_.set_bytes.push_back({map.memory, {*unit.set_byte, 1}});
        }
        if (!unit.is_touched) {
            writes.add(range, false, unit.is_blank);
            return;
        }
        ++plan_.touched_units;
        const bool is_written = is_erased || unit.state != UnitState::equal;
        plan_.written_units += is_written ? 1U : 0U;
        changes.add(range, is_written, false);
        add_writes(traits, range, is_erased, writes);
    }

    void add_writes(const MemoryTraits& traits, const Range& range, bool is_erased, StretchBuilder& writes)
    {
        std::vector<std::uint8_t> wanted(range.size());
        plan_.contents.fill(range, wanted);
        for (std::uint32_t i = 0; i < range.length; i += traits.write_bytes) {
            const Range piece{range.first + i, traits.write_bytes};
            const bool is_blank = cli::is_erased(std::span{wanted}.subspan(i, traits.write_bytes));
            writes.add(piece, is_erased ? !is_blank : is_difference(piece), is_blank);
        }
    }

    bool is_difference(const Range& piece) const
    {
        const auto next = std::ranges::upper_bound(differences_, piece.first, {}, &Range::first);
        return next != differences_.begin() && std::prev(next)->contains(piece);
    }

    static void append(std::vector<Piece>& pieces, const Memory& memory, const std::vector<Range>& ranges)
    {
        std::ranges::transform(ranges, std::back_inserter(pieces), [&memory](const Range& range) {
            return Piece{&memory, range};
        });
    }

    const Survey& survey_;
    std::vector<Range> differences_; // ascending
    Plan plan_;
};

EraseChoice everything()
{
    return {0, true, {}};
}

EraseChoice choose_erases(EraseMode mode, Survey& survey)
{
    switch (mode) {
    case EraseMode::all:
        survey.look_at_nothing();
        return everything();
    case EraseMode::none:
        survey.look_at_all();
        require_erasable(survey, mode);
        return {};
    case EraseMode::needed:
        break;
    }
    survey.look_while_it_pays();
    require_erasable(survey, mode);
    return survey.choose_erases();
}

} // namespace

Plan plan_programming(const Device& device, const Image& image, EraseMode mode, const Narration& narration)
{
    Survey survey{device, image, narration};
    EraseChoice erases = choose_erases(mode, survey);
    return PlanBuilder{survey, std::move(erases)}.build();
}

} // namespace tessit::cli
