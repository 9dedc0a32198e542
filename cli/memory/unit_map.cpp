#include "cli/memory/unit_map.h"

#include <algorithm>
#include <limits>

namespace tessit::cli {
namespace {

constexpr double never = std::numeric_limits<double>::infinity();

// Of sums that differ by no more than their rounding the larger erase wins: it is the fewer calls.
bool is_no_dearer(double larger, double smaller)
{
    constexpr double rounding = 1e-9;
    return larger < never && larger <= smaller * (1 + rounding);
}

// Writes and their verification.
double write_seconds(const MemoryTraits& traits, std::uint32_t bytes)
{
    return bytes == 0 ? 0 : traits.write_cost.per_byte * bytes + traits.cost_to_check().per_byte * traits.unit_bytes;
}

double seconds_if_left(const MemoryTraits& traits, const Unit& unit)
{
    return unit.state == UnitState::unwritable ? never : write_seconds(traits, unit.bytes_if_left);
}

double seconds_if_erased(const MemoryTraits& traits, const Unit& unit)
{
    const bool must_stay = unit.state == UnitState::unknown || unit.state == UnitState::kept;
    return must_stay ? never : write_seconds(traits, unit.bytes_if_erased);
}

// Covers a memory by blocks of the first size, and where that does not pay, of the next.
class BlockChooser
{
public:
    explicit BlockChooser(const UnitMap& map) : memory_{*map.memory}, units_{map.units} {}

    EraseChoice choose() const { return choose(0, units_.size(), memory_.traits.blocks); }

private:
    EraseChoice choose(std::size_t first, std::size_t end, std::span<const EraseBlock> sizes) const
    {
        EraseChoice choice;
        if (sizes.empty()) {
            for (std::size_t i = first; i < end; ++i) {
                choice.seconds += seconds_if_left(memory_.traits, units_[i]);
            }
            return choice;
        }
        const std::size_t count = sizes.front().bytes / memory_.traits.unit_bytes;
        for (; first < end; first += count) {
            append(choice, choose_block(first, std::min(first + count, end), sizes));
        }
        return choice;
    }

    // One block of the first size, or what of it is cheaper in smaller ones.
    EraseChoice choose_block(std::size_t first, std::size_t end, std::span<const EraseBlock> sizes) const
    {
        const EraseBlock& size = sizes.front();
        EraseChoice smaller = choose(first, end, sizes.subspan(1));
        const bool is_whole = (end - first) * memory_.traits.unit_bytes == size.bytes;
        if (!is_whole || (smaller.blocks.empty() && smaller.is_possible())) {
            return smaller;
        }
        double seconds = size.seconds;
        for (std::size_t i = first; i < end; ++i) {
            seconds += seconds_if_erased(memory_.traits, units_[i]);
        }
        if (!is_no_dearer(seconds, smaller.seconds)) {
            return smaller;
        }
        return {seconds, false, {{&memory_, {memory_.traits.unit(first).first, size.bytes}}}};
    }

    static void append(EraseChoice& whole, EraseChoice part)
    {
        whole.seconds += part.seconds;
        whole.blocks.insert(whole.blocks.end(), part.blocks.begin(), part.blocks.end());
    }

    const Memory& memory_;
    std::span<const Unit> units_;
};

double seconds_after_erase_all(std::span<const UnitMap> maps, double erase_all_seconds)
{
    double seconds = erase_all_seconds;
    for (const UnitMap& map : maps) {
        const MemoryTraits& traits = map.memory->traits;
        for (const Unit& unit : map.units) {
            const bool may_go = !traits.blocks.empty() || unit.is_blank;
            seconds += may_go ? seconds_if_erased(traits, unit) : never;
        }
    }
    return seconds;
}

} // namespace

bool EraseChoice::is_possible() const
{
    return seconds < never;
}

bool EraseChoice::covers(const Memory& memory, const Range& unit) const
{
    return everything || std::ranges::any_of(blocks, [&](const Piece& block) {
               return block.memory == &memory && block.range.contains(unit);
           });
}

EraseChoice cheapest_block_erases(const UnitMap& map)
{
    return BlockChooser{map}.choose();
}

EraseChoice cheapest_erases(std::span<const UnitMap> maps, double erase_all_seconds)
{
    EraseChoice choice;
    for (const UnitMap& map : maps) {
        EraseChoice part = cheapest_block_erases(map);
        choice.seconds += part.seconds;
        choice.blocks.insert(choice.blocks.end(), part.blocks.begin(), part.blocks.end());
    }
    if (choice.blocks.empty() && choice.is_possible()) {
        return choice;
    }
    const double seconds = seconds_after_erase_all(maps, erase_all_seconds);
    return is_no_dearer(seconds, choice.seconds) ? EraseChoice{seconds, true, {}} : choice;
}

} // namespace tessit::cli
