/// Comparing memories with what they should hold: by checksums where there are some, and where these differ or there
/// are none, by reading parts that are as long as one call transfers.
#pragma once

#include "cli/memory/mismatches.h"
#include "cli/memory/plan.h"

#include <vector>

namespace tessit::cli {

struct Comparison
{
    Mismatches mismatches;
    std::vector<Piece> differing_units;
    std::uint64_t bytes = 0; ///< that were compared
};

/// Whole units with what they should hold.
Comparison compare(const Device& device, const std::vector<Piece>& units, const Contents& contents,
                   const Narration& narration);

/// What the image holds of the device's memories.
Mismatches compare(const Device& device, const Image& image, const Narration& narration);

/// Calls `use(part)` for one part of the range after the other.
template <typename Use>
void for_each_part(const Range& range, Use use)
{
    for (std::uint64_t at = range.first; at < range.end(); at += transfer_chunk) {
        use(Range{static_cast<std::uint32_t>(at), std::min<std::uint64_t>(transfer_chunk, range.end() - at)});
    }
}

} // namespace tessit::cli
