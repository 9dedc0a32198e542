#pragma once

#include "sim/rtt/memory.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The control block that firmware keeps in its RAM: an identifier, the numbers of up and down rings, and a descriptor
/// of each ring, the up rings first. All words are little-endian.
namespace jlinksim {

inline constexpr std::array<std::uint8_t, 16> rtt_identifier{'S', 'E', 'G', 'G', 'E', 'R', ' ', 'R', 'T', 'T'};

/// No firmware has more; what claims to is no control block.
inline constexpr std::uint32_t most_rtt_rings = 32;

enum class RttDirection : std::uint32_t
{
    up = 0, ///< target to host
    down = 1,
};

/// A ring's descriptor. It is empty when both offsets are equal, and holds at most size - 1 bytes.
struct RttRing
{
    static constexpr std::uint32_t bytes = 24;
    static constexpr std::uint32_t buffer_position = 4; ///< of the field in the descriptor
    static constexpr std::uint32_t write_position = 12;
    static constexpr std::uint32_t read_position = 16;
    static constexpr std::uint32_t told_bytes = 16; ///< from the buffer's address to the read offset: where data is

    std::uint32_t name = 0; ///< address of a zero-terminated text; 0 without one
    std::uint32_t buffer = 0;
    std::uint32_t size = 0;
    std::uint32_t write = 0; ///< offset of the next byte to write: the firmware's in up rings
    std::uint32_t read = 0;  ///< offset of the next byte to read: the firmware's in down rings
    std::uint32_t flags = 0;

    static RttRing decode(std::span<const std::uint8_t> descriptor);

    /// Firmware may leave rings of its block without a buffer.
    bool is_unused() const { return buffer == 0 && size == 0; }
    std::uint32_t used() const { return write >= read ? write - read : write + size - read; }
    std::uint32_t room() const { return size - 1 - used(); }
    std::uint32_t advanced(std::uint32_t offset, std::uint32_t step) const
    {
        return static_cast<std::uint32_t>((std::uint64_t{offset} + step) % size);
    }
    bool is_same_buffer(const RttRing& other) const { return buffer == other.buffer && size == other.size; }
};

/// Where a control block is, and what it holds.
struct RttControlBlock
{
    static constexpr std::uint32_t header_bytes = 24;
    static constexpr std::uint32_t alignment = 4; ///< it consists of words

    std::uint32_t address = 0;
    std::vector<RttRing> up;
    std::vector<RttRing> down;

    std::uint32_t bytes() const { return size_of(up.size() + down.size()); }
    std::uint32_t descriptor_of(RttDirection direction, std::size_t index) const
    {
        const std::size_t ring = direction == RttDirection::up ? index : up.size() + index;
        return address + size_of(ring);
    }
    std::vector<RttRing>& rings(RttDirection direction) { return direction == RttDirection::up ? up : down; }

    /// Read the rings' descriptors again. False when the block is no longer there, or another one is.
    bool refresh(RttMemory& memory);

private:
    static std::uint32_t size_of(std::size_t rings)
    {
        return header_bytes + static_cast<std::uint32_t>(rings) * RttRing::bytes;
    }
};

struct RttCandidate
{
    std::optional<RttControlBlock> block; ///< its rings are not read yet
    std::string problem;                  ///< why there is no block although its identifier is there
};

/// Look whether a control block begins at an address.
RttCandidate look_at_rtt_block(RttMemory& memory, std::uint32_t address);

/// What keeps a ring of a block from being used: one of a few texts that live forever, or null.
const char* problem_of_ring(const RttRing& ring, const RttControlBlock& block, const RttMemory& memory);

} // namespace jlinksim
