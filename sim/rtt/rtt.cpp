#include "sim/rtt/rtt.h"

#include "base/little_endian.h"
#include "sim/time/timing.h"

#include <algorithm>
#include <fmt/core.h>

namespace jlinksim {

using tessit::little_endian::bytes_of;

namespace {

/// Move a span through a ring's buffer from `offset` on, in one part or two. Stops at the first part that fails.
template <class Byte, class Move>
bool through_ring(const RttRing& ring, std::uint32_t offset, std::span<Byte> data, const Move& move)
{
    const auto first = data.first(std::min<std::size_t>(data.size(), ring.size - offset));
    const auto second = data.subspan(first.size());
    return move(ring.buffer + offset, first) && (second.empty() || move(ring.buffer, second));
}

} // namespace

void Rtt::begin(std::uint64_t now)
{
    stop();
    started_ = true;
    next_poll_ = now;
}

void Rtt::start(std::vector<RttSearchRange> ranges, std::uint64_t now)
{
    begin(now);
    search_ = RttSearch{std::move(ranges)};
}

void Rtt::start(std::uint32_t block_address, std::uint64_t now)
{
    begin(now);
    fixed_address_ = block_address;
}

void Rtt::stop()
{
    started_ = false;
    fixed_address_.reset();
    search_ = {};
    found_ = false;
    block_ = {};
    up_.clear();
    down_.clear();
    rejected_.clear();
    ring_problems_.clear();
}

bool Rtt::has_channels() const
{
    return found_ || std::ranges::any_of(up_, [](const ByteQueue& queue) { return !queue.is_empty(); });
}

void Rtt::poll(RttMemory& memory, std::uint64_t now)
{
    next_poll_ = now + timing::rtt_poll_period_ns;
    if (!found_) {
        look_for_block(memory);
    }
    if (!found_) {
        return;
    }
    if (!block_.refresh(memory)) {
        lose_block();
        return;
    }
    // Down first: firmware works on what it is given while the up rings are on the wire.
    for (std::size_t index = 0; index < block_.down.size(); ++index) {
        fill(memory, index);
    }
    for (std::size_t index = 0; index < block_.up.size(); ++index) {
        drain(memory, index);
    }
}

void Rtt::look_for_block(RttMemory& memory)
{
    const auto reject = [this](std::uint32_t address, std::string_view problem) { reject_block(address, problem); };
    std::optional<RttControlBlock> block;
    if (fixed_address_) {
        RttCandidate candidate = look_at_rtt_block(memory, *fixed_address_);
        if (!candidate.problem.empty()) {
            reject(*fixed_address_, candidate.problem);
        }
        block = std::move(candidate.block);
    } else {
        block = search_.look(memory, reject);
    }
    if (!block) {
        return;
    }
    found_ = true;
    block_ = std::move(*block);
    // A channel keeps its bytes when its firmware starts again.
    up_.resize(std::max(up_.size(), block_.up.size()), ByteQueue{up_buffer_bytes});
    down_.resize(std::max(down_.size(), block_.down.size()), ByteQueue{down_buffer_bytes});
    ring_problems_.assign(block_.up.size() + block_.down.size(), nullptr);
}

void Rtt::lose_block()
{
    found_ = false;
    search_.go_on_at(block_.address);
}

void Rtt::target_is_reset(RttMemory& memory)
{
    if (!found_) {
        return;
    }
    memory.write(block_.address, bytes_of(0));
    lose_block();
}

void Rtt::reject_block(std::uint32_t address, std::string_view problem)
{
    if (rejected_.insert(address).second) {
        records_.add("rtt-control-block", fmt::format("0x{:08X}: {}", address, problem));
    }
}

bool Rtt::is_usable(RttDirection direction, std::size_t index, const RttMemory& memory)
{
    const RttRing& ring = rings(direction)[index];
    const bool is_up = direction == RttDirection::up;
    const char* const problem = ring.is_unused() ? nullptr : problem_of_ring(ring, block_, memory);
    const char*& recorded = ring_problems_[is_up ? index : block_.up.size() + index];
    if (problem != nullptr && problem != recorded) {
        records_.add("rtt-ring",
                     fmt::format("{} ring {}: {} (buffer 0x{:08X}, size {}, write {}, read {})", is_up ? "up" : "down",
                                 index, problem, ring.buffer, ring.size, ring.write, ring.read));
    }
    recorded = problem;
    return problem == nullptr && !ring.is_unused();
}

/// Firmware that starts again between two transfers of ours makes new rings, in which our offset means nothing.
/// Offsets of its own only ever go on.
bool Rtt::is_unchanged(RttMemory& memory, RttDirection direction, std::size_t index) const
{
    const RttRing& before = rings(direction)[index];
    std::array<std::uint8_t, RttRing::bytes> descriptor{};
    const auto told = std::span{descriptor}.subspan(RttRing::buffer_position, RttRing::told_bytes);
    if (!memory.read(block_.descriptor_of(direction, index) + RttRing::buffer_position, told)) {
        return false;
    }
    const RttRing now = RttRing::decode(descriptor);
    if (!now.is_same_buffer(before) || now.write >= now.size || now.read >= now.size) {
        return false;
    }
    return direction == RttDirection::up ? now.read == before.read && now.used() >= before.used()
                                         : now.write == before.write && now.used() <= before.used();
}

void Rtt::drain(RttMemory& memory, std::size_t index)
{
    if (!is_usable(RttDirection::up, index, memory)) {
        return;
    }
    std::uint32_t left = static_cast<std::uint32_t>(std::min<std::size_t>(block_.up[index].used(), up_[index].room()));
    while (left != 0) {
        const std::uint32_t count = std::min(left, most_bytes_per_step);
        if (!drain_step(memory, index, count)) {
            return;
        }
        left -= count;
    }
}

bool Rtt::drain_step(RttMemory& memory, std::size_t index, std::uint32_t count)
{
    RttRing& ring = block_.up[index];
    std::vector<std::uint8_t> data(count);
    const bool taken =
        through_ring(ring, ring.read, std::span{data},
                     [&](std::uint32_t address, std::span<std::uint8_t> part) { return memory.read(address, part); });
    if (!taken || !is_unchanged(memory, RttDirection::up, index)) {
        return false;
    }
    const std::uint32_t read = ring.advanced(ring.read, count);
    const std::uint32_t descriptor = block_.descriptor_of(RttDirection::up, index);
    if (!memory.write(descriptor + RttRing::read_position, bytes_of(read))) {
        return false;
    }
    ring.read = read;
    up_[index].push(data);
    return true;
}

void Rtt::fill(RttMemory& memory, std::size_t index)
{
    if (!is_usable(RttDirection::down, index, memory)) {
        return;
    }
    const RttRing& ring = block_.down[index];
    const std::span<const std::uint8_t> data = down_[index].front(ring.room());
    if (data.empty()) {
        return;
    }
    const bool given =
        through_ring(ring, ring.write, data, [&](std::uint32_t address, std::span<const std::uint8_t> part) {
            return memory.write(address, part);
        });
    if (!given || !is_unchanged(memory, RttDirection::down, index)) {
        return;
    }
    const std::uint32_t write = ring.advanced(ring.write, static_cast<std::uint32_t>(data.size()));
    const std::uint32_t descriptor = block_.descriptor_of(RttDirection::down, index);
    if (memory.write(descriptor + RttRing::write_position, bytes_of(write))) {
        down_[index].drop(data.size());
    }
}

std::size_t Rtt::read(std::size_t channel, std::span<std::uint8_t> data)
{
    const std::span<const std::uint8_t> bytes = up_[channel].front(data.size());
    std::ranges::copy(bytes, data.begin());
    const std::size_t count = bytes.size();
    up_[channel].drop(count);
    return count;
}

std::size_t Rtt::write(std::size_t channel, std::span<const std::uint8_t> data)
{
    return down_[channel].push(data);
}

} // namespace jlinksim
