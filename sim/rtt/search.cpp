#include "sim/rtt/search.h"

#include <algorithm>
#include <numeric>

namespace jlinksim {
namespace {

std::uint64_t count_pieces(const std::vector<RttSearchRange>& ranges)
{
    return std::accumulate(ranges.begin(), ranges.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const RttSearchRange& range) {
                               return sum + (range.length + RttSearch::piece_bytes - 1) / RttSearch::piece_bytes;
                           });
}

} // namespace

std::optional<RttControlBlock> RttSearch::look(RttMemory& memory, const Rejected& rejected)
{
    for (std::uint64_t pieces = count_pieces(ranges_); pieces != 0; --pieces) {
        const RttSearchRange piece = take_piece();
        if (memory.is_ram(piece.address, piece.length)) {
            return look_at(piece, memory, rejected);
        }
    }
    return {};
}

RttSearchRange RttSearch::take_piece()
{
    const RttSearchRange& range = ranges_[range_];
    // The next piece's begin is read, too, for an identifier that stands across the two.
    constexpr auto overlap = static_cast<std::uint32_t>(rtt_identifier.size() - RttControlBlock::alignment);
    const RttSearchRange piece{range.address + offset_, std::min(piece_bytes + overlap, range.length - offset_)};
    offset_ += piece_bytes;
    if (offset_ >= range.length) {
        offset_ = 0;
        range_ = (range_ + 1) % ranges_.size();
    }
    return piece;
}

std::optional<RttControlBlock> RttSearch::look_at(const RttSearchRange& piece, RttMemory& memory,
                                                  const Rejected& rejected)
{
    std::vector<std::uint8_t> bytes(piece.length);
    if (!memory.read(piece.address, bytes)) {
        return {};
    }
    for (auto at = bytes.begin(); bytes.end() - at >= static_cast<std::ptrdiff_t>(rtt_identifier.size());
         at += RttControlBlock::alignment) {
        if (!std::equal(rtt_identifier.begin(), rtt_identifier.end(), at)) {
            continue;
        }
        const std::uint32_t address = piece.address + static_cast<std::uint32_t>(at - bytes.begin());
        RttCandidate candidate = look_at_rtt_block(memory, address);
        if (candidate.block) {
            return std::move(candidate.block);
        }
        if (!candidate.problem.empty()) {
            rejected(address, candidate.problem);
        }
    }
    return {};
}

void RttSearch::go_on_at(std::uint32_t address)
{
    const auto range = std::ranges::find_if(ranges_, [address](const RttSearchRange& each) {
        return address >= each.address && address - each.address < each.length;
    });
    if (range != ranges_.end()) {
        range_ = static_cast<std::size_t>(range - ranges_.begin());
        offset_ = (address - range->address) / piece_bytes * piece_bytes;
    }
}

} // namespace jlinksim
