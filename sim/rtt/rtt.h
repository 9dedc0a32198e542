#pragma once

#include "sim/rtt/byte_queue.h"
#include "sim/rtt/control_block.h"
#include "sim/rtt/search.h"
#include "sim/witness/records.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <vector>

namespace jlinksim {

/// The J-Link library's RTT of one session. It looks for the firmware's control block, and then moves bytes between
/// the rings in target RAM and a buffer of its own for each channel, a poll at a time. When to poll is the session's
/// business.
///
/// Target memory is not to be trusted: whatever stands there, nothing outside RAM is read or written, and what makes
/// no sense is recorded once and left alone.
class Rtt
{
public:
    /// Host-side buffer of an up channel: when the host does not read, the ring fills up behind it.
    static constexpr std::size_t up_buffer_bytes = 65536;
    /// Host-side buffer of a down channel: what is written beyond it is not accepted.
    static constexpr std::size_t down_buffer_bytes = 4096;
    /// Taken out of an up ring before its firmware gets the room back. A large ring is emptied in several steps, so
    /// that firmware fills its one end while the other is still on the wire.
    static constexpr std::uint32_t most_bytes_per_step = 2048;

    explicit Rtt(Records& records) : records_(records) {}

    /// Begin again, with polls from this time on. `ranges` lie in RAM and consist of whole words.
    void start(std::vector<RttSearchRange> ranges, std::uint64_t now);
    /// Begin again with the control block at a known place.
    void start(std::uint32_t block_address, std::uint64_t now);
    void stop();
    bool is_started() const { return started_; }

    /// Device time of the next poll.
    std::uint64_t next_poll() const { return next_poll_; }
    void poll(RttMemory& memory, std::uint64_t now);

    /// The host resets the target: firmware makes a new control block, perhaps elsewhere. Erases the old one's
    /// identifier, which would be found again until then.
    void target_is_reset(RttMemory& memory);

    /// The host sets the CPU running. Firmware makes its control block soon after its begin, and mostly at the begin of
    /// RAM: no need to go through all the rest first.
    void cpu_runs() { search_.begin_again(); }

    /// Whether channels are known: the control block is there, or was and left bytes that the host has not read.
    bool has_channels() const;
    std::size_t count_channels(RttDirection direction) const { return rings(direction).size(); }
    /// As of the last poll. The channel exists.
    const RttRing& ring(RttDirection direction, std::size_t channel) const { return rings(direction)[channel]; }

    /// Bytes that the host takes or gives now, as many as possible. The channel exists.
    std::size_t read(std::size_t channel, std::span<std::uint8_t> data);
    std::size_t write(std::size_t channel, std::span<const std::uint8_t> data);

private:
    const std::vector<RttRing>& rings(RttDirection direction) const
    {
        return direction == RttDirection::up ? block_.up : block_.down;
    }
    void begin(std::uint64_t now);
    void look_for_block(RttMemory& memory);
    void lose_block();
    bool is_usable(RttDirection direction, std::size_t index, const RttMemory& memory);
    void drain(RttMemory& memory, std::size_t index);
    bool drain_step(RttMemory& memory, std::size_t index, std::uint32_t count);
    void fill(RttMemory& memory, std::size_t index);
    bool is_unchanged(RttMemory& memory, RttDirection direction, std::size_t index) const;
    void reject_block(std::uint32_t address, std::string_view problem);

    Records& records_;
    bool started_ = false;
    std::uint64_t next_poll_ = 0;
    std::optional<std::uint32_t> fixed_address_;
    RttSearch search_;
    bool found_ = false;
    RttControlBlock block_; ///< the newest that was found
    std::deque<ByteQueue> up_;
    std::deque<ByteQueue> down_;
    std::set<std::uint32_t> rejected_; ///< addresses already recorded
    /// What was recorded of each ring of the block, up rings first.
    std::vector<const char*> ring_problems_;
};

} // namespace jlinksim
