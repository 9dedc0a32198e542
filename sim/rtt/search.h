#pragma once

#include "sim/rtt/control_block.h"

#include <functional>
#include <vector>

namespace jlinksim {

/// Target memory in which the control block is looked for.
struct RttSearchRange
{
    std::uint32_t address;
    std::uint32_t length; ///< in bytes
};

/// The search for the control block, a piece of memory at a time, over and over: firmware makes its block when it has
/// got that far. A block begins at a multiple of 4.
class RttSearch
{
public:
    /// So much is read for one look: about what a poll of a well-used ring takes, so that other requests need not wait.
    static constexpr std::uint32_t piece_bytes = 1024;

    /// Is told of an identifier that no control block follows.
    using Rejected = std::function<void(std::uint32_t address, const std::string& problem)>;

    RttSearch() = default;
    explicit RttSearch(std::vector<RttSearchRange> ranges) : ranges_(std::move(ranges)) {}

    /// Look at the next piece that can be read, and the next time at the one after it.
    std::optional<RttControlBlock> look(RttMemory& memory, const Rejected& rejected);
    void begin_again()
    {
        range_ = 0;
        offset_ = 0;
    }
    /// Look at this address next, if it lies in the ranges: a block that vanished often comes back to its place.
    void go_on_at(std::uint32_t address);

private:
    RttSearchRange take_piece();
    std::optional<RttControlBlock> look_at(const RttSearchRange& piece, RttMemory& memory, const Rejected& rejected);

    std::vector<RttSearchRange> ranges_; ///< of multiples of 4
    std::size_t range_ = 0;
    std::uint32_t offset_ = 0; ///< of the next piece in it
};

} // namespace jlinksim
