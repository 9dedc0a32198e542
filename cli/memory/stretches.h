/// Collects what is to be written into as few stretches as possible.
#pragma once

#include "cli/text/numbers.h"

#include <cstdint>
#include <vector>

namespace tessit::cli {

/// Every write call costs about as much as a few dozen words, so a short blank gap is written through; what is there
/// already is not written a second time.
class StretchBuilder
{
public:
    explicit StretchBuilder(std::uint32_t bridge_bytes) : bridge_bytes_{bridge_bytes} {}

    /// Pieces come in ascending order. `is_blank`: it is blank and stays so.
    void add(const Range& piece, bool is_to_be_written, bool is_blank)
    {
        if (!is_to_be_written) {
            may_bridge_ = may_bridge_ && is_blank;
            return;
        }
        const std::uint64_t gap = stretches_.empty() ? 0 : piece.first - stretches_.back().end();
        if (!stretches_.empty() && (gap == 0 || (may_bridge_ && gap <= bridge_bytes_))) {
            stretches_.back().length = piece.end() - stretches_.back().first;
        } else {
            stretches_.push_back(piece);
        }
        may_bridge_ = true;
    }

    std::vector<Range> take() { return std::move(stretches_); }

private:
    std::uint32_t bridge_bytes_;
    std::vector<Range> stretches_;
    bool may_bridge_ = false; // all since the last stretch's end is blank
};

} // namespace tessit::cli
