/// Looking at memories before an image is written to them: no more of them than it takes to know what is cheapest.
#pragma once

#include "cli/memory/inspection.h"
#include "cli/memory/memory.h"
#include "cli/memory/unit_map.h"
#include "cli/terminal/progress.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tessit::cli {

/// What is worth to be looked at, by what looking, erasing and writing cost; an Inspection looks.
class Survey
{
public:
    /// The image lies within the device's memories. Both outlive the survey.
    Survey(const Device& device, const Image& image, const Narration& narration);

    /// Looks at every unit that the image touches.
    void look_at_all();
    /// As look_at_all, but stops where erasing and writing the rest unseen costs less. A few samples of what is there,
    /// spread over the image, are the first guess.
    void look_while_it_pays();
    /// Takes everything for what has to be erased, without looking.
    void look_at_nothing();
    /// The erases to make. Looks also at what the image leaves alone, where an erase of everything would then cost less
    /// and lose nothing.
    EraseChoice choose_erases();

    const std::vector<UnitMap>& maps() const { return maps_; }
    const Contents& contents() const { return inspection_.contents(); }
    /// Stretches to write in units that are not erased.
    const std::vector<Range>& differences() const { return inspection_.differences(); }
    /// In what was seen, in the order in which it was looked at.
    const std::vector<StuckByte>& stuck_bytes() const { return inspection_.stuck_bytes(); }

private:
    struct Stretch
    {
        std::size_t map;
        std::size_t first; ///< unit
        std::size_t end;
    };

    template <typename Predicate>
    std::vector<Stretch> stretches(Predicate is_wanted) const;
    std::uint64_t bytes_of(std::span<const Stretch> stretches) const;
    template <typename CostOf>
    double seconds_of(std::span<const Stretch> stretches, CostOf cost_of) const;
    double seconds_to_look(std::span<const Stretch> stretches) const;
    double seconds_to_check(std::span<const Stretch> stretches) const;
    std::span<Unit> units_of(const Stretch& stretch);
    std::vector<UnitPlace> places_of(std::span<const Stretch> stretches);

    void guess(std::span<const Stretch> stretches);
    void look(const Stretch& stretch);
    void look_while_it_pays(std::span<const Stretch> stretches, Progress& progress);
    void resume_looking();
    std::vector<UnitMap> with_unseen(std::span<const Stretch> stretches) const;

    std::vector<Stretch> elsewhere() const;
    bool is_blank(std::span<const Stretch> stretches);
    double seconds_at_best(const std::vector<UnitMap>& maps) const;

    const Device& device_;
    const Narration narration_;
    Inspection inspection_;
    std::vector<UnitMap> maps_;
    std::vector<Stretch> given_up_; ///< what it did not pay to look at
    std::vector<UnitMap> guesses_;  ///< the maps before that was taken for unwritable
};

} // namespace tessit::cli
