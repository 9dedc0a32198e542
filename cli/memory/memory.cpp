#include "cli/memory/memory.h"

#include "cli/failure.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <numeric>

namespace tessit::cli {

std::vector<Range> cut(const Range& range, std::uint32_t step)
{
    std::vector<Range> parts;
    for (std::uint64_t at = range.first; at < range.end();) {
        const std::uint64_t end = std::min(range.end(), (at / step + 1) * step);
        parts.push_back({static_cast<std::uint32_t>(at), end - at});
        at = end;
    }
    return parts;
}

std::vector<Piece> parts_by_unit(std::span<const Piece> pieces)
{
    std::vector<Piece> parts;
    for (const Piece& piece : pieces) {
        std::ranges::transform(cut(piece.range, piece.memory->traits.unit_bytes), std::back_inserter(parts),
                               [&piece](const Range& range) {
                                   return Piece{piece.memory, range};
                               });
    }
    return parts;
}

std::uint64_t bytes_of(std::span<const Piece> pieces)
{
    return std::accumulate(pieces.begin(), pieces.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Piece& piece) { return sum + piece.range.length; });
}

void require_whole_units(const Range& range, const MemoryTraits& traits)
{
    const Range first = traits.unit(traits.unit_of(range.first));
    const Range last = traits.unit(traits.unit_of(range.end() - 1));
    const Range touched{first.first, last.end() - first.first};
    if (range != touched) {
        throw Failure{ExitCode::usage,
                      fmt::format("the range {} does not consist of whole {} of {}; nothing was erased",
                                  format_range(range), traits.units, format_size(traits.unit_bytes)),
                      fmt::format("The {} that it touches are --range {}.", traits.units, format_range(touched))};
    }
}

} // namespace tessit::cli
