/// A memory that is erased in units and written: the chip's flash, its UICR, the external flash. Planner and programmer
/// know of each what stands here, and nothing else.
#pragma once

#include "cli/session/transfer.h"
#include "cli/text/numbers.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessit::cli {

/// What transfers take: so much for each call, and so much for each byte. Seconds.
struct TransferCost
{
    double per_call = 0;
    double per_byte = 0;

    double of(std::uint64_t bytes) const { return bytes == 0 ? 0 : per_call + per_byte * static_cast<double>(bytes); }
};

/// A part that one erase clears; it begins at a multiple of its size.
struct EraseBlock
{
    std::uint32_t bytes = 0;
    double seconds = 0;
};

/// What a memory is like.
struct MemoryTraits
{
    const char* name = "";          ///< "flash", as in "the flash byte at ..."
    const char* units = "";         ///< what its units are called: "pages"
    Range range;                    ///< its addresses
    std::uint32_t unit_bytes = 0;   ///< the smallest part that can be erased
    std::uint32_t write_bytes = 0;  ///< what is written begins and ends at multiples of this
    std::uint32_t bridge_bytes = 0; ///< a blank gap up to this is written through, which takes less than another call
    std::vector<EraseBlock> blocks; ///< largest first, a unit last; empty: it goes with everything, never by itself
    TransferCost read_cost;
    TransferCost write_cost;
    std::optional<TransferCost> check_cost{}; ///< of checksums, where there are some
    const char* without_erase_hint = "";      ///< what to do when bits would have to be set and nothing may be erased
    const char* mismatch_hint = "";           ///< what to do when it does not hold what was written

    /// To know whether something holds what it should.
    const TransferCost& cost_to_check() const { return check_cost ? *check_cost : read_cost; }
    std::size_t unit_count() const { return static_cast<std::size_t>(range.length / unit_bytes); }
    Range unit(std::size_t index) const
    {
        return {range.first + static_cast<std::uint32_t>(index) * unit_bytes, unit_bytes};
    }
    std::size_t unit_of(std::uint64_t address) const
    {
        return static_cast<std::size_t>((address - range.first) / unit_bytes);
    }
};

/// One memory and the ways to reach it. All of them throw a Failure.
struct Memory
{
    MemoryTraits traits;
    std::function<void(std::uint32_t address, std::span<std::uint8_t> bytes, const ChunkDone& done)> read;
    /// Into erased bytes, or clearing bits.
    std::function<void(std::uint32_t address, std::span<const std::uint8_t> bytes, const ChunkDone& done)> write;
    /// One of the blocks.
    std::function<void(const Range& block)> erase;
};

/// A part of a memory.
struct Piece
{
    const Memory* memory = nullptr;
    Range range;

    friend bool operator==(const Piece&, const Piece&) = default;
};

/// The range cut at the multiples of `step`.
std::vector<Range> cut(const Range& range, std::uint32_t step);

/// The pieces cut where units begin, which are multiples of their size.
std::vector<Piece> parts_by_unit(std::span<const Piece> pieces);

/// Bytes of all pieces.
std::uint64_t bytes_of(std::span<const Piece> pieces);

/// Throws a Failure with ExitCode::usage, which names the units that the range touches, unless it consists of whole
/// ones. The range lies within the memory.
void require_whole_units(const Range& range, const MemoryTraits& traits);

/// What is to be done to one memory: the erases before the writes to what they clear.
struct MemoryChanges
{
    bool everything = false; ///< an erase of the device
    std::vector<Range> erases;
    std::vector<Range> writes;
    std::vector<Range> compared; ///< checksums of these will be asked for afterwards
};

/// What is to be written to a range.
using ContentOf = std::function<void(const Range& range, std::span<std::uint8_t> bytes)>;

/// Memories that one erase clears together: the chip's flash and UICR, or an external flash alone.
struct Device
{
    std::string name;             ///< "the chip"
    std::vector<Memory> memories; ///< in the order of their addresses; what is programmed first comes first
    double erase_all_seconds = 0;
    std::function<void()> erase_all;
    /// All changes of its first memory in one go. False: something has to be done in the single ways above, and all of
    /// it is to be done in them again. Is told the bytes of each write that is done. May be empty.
    std::function<bool(const MemoryChanges& changes, const ContentOf& content, const ChunkDone& done)> change_at_once{};
    /// CRC-32 of ranges of its memories, much faster than to read them; nothing where that cannot be had now. May be
    /// empty.
    std::function<std::optional<std::vector<std::uint32_t>>(std::span<const Range> ranges)> checksums{};
    /// Lifts what keeps parts from being erased and written, with a line that tells the user; empty: there is nothing
    /// of the kind.
    std::function<void()> lift_protection;
    const char* not_erased_hint = ""; ///< what to do when an erase had no effect and nothing can be lifted
};

} // namespace tessit::cli
