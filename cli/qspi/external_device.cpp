#include "cli/qspi/external_device.h"

#include "cli/memory/cost.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

namespace tessit::cli {
namespace {

constexpr std::uint32_t kib = 1024;

// Bytes that the library moves through the chip's RAM at once, and the accesses around them: four registers, the start,
// one look whether it is done.
constexpr double staging_bytes = 4096;
constexpr double accesses_around_step = 6;

struct EraseLength
{
    EraseBlock block;
    qspi_erase_len_t length;
};

constexpr std::array erase_lengths{
    EraseLength{{64 * kib, cost::serial_erase_64k}, ERASE64KB},
    EraseLength{{32 * kib, cost::serial_erase_32k}, ERASE32KB},
    EraseLength{{4 * kib, cost::serial_erase_4k}, ERASE4KB},
};

TransferCost transfer_cost(std::uint32_t speed_khz, double seconds_of_flash_per_byte)
{
    const double step = accesses_around_step * cost::access(speed_khz, 1) + cost::access(speed_khz, staging_bytes / 4);
    return {accesses_around_step * cost::access(speed_khz, 1), step / staging_bytes + seconds_of_flash_per_byte};
}

// Never of itself where it would also erase what the addresses do not reach.
double erase_all_seconds(const ExternalFlash& flash)
{
    if (flash.reachable().length != flash.size()) {
        return std::numeric_limits<double>::infinity();
    }
    const EraseBlock& largest = erase_lengths.front().block;
    return static_cast<double>(flash.size()) / largest.bytes * largest.seconds;
}

qspi_erase_len_t erase_length(const Range& block)
{
    return std::ranges::find_if(erase_lengths,
                                [&block](const EraseLength& each) { return each.block.bytes == block.length; })
        ->length;
}

} // namespace

Device external_device(const ExternalFlash& flash, std::uint32_t speed_khz)
{
    const std::uint32_t page_bytes = flash.connection().page_bytes();
    Memory memory{
        .traits =
            {
                .name = "external flash",
                .units = "sectors",
                .range = flash.reachable(),
                .unit_bytes = erase_lengths.back().block.bytes,
                .write_bytes = page_bytes,
                .bridge_bytes = 0,
                .blocks = {},
                .read_cost = transfer_cost(speed_khz, 0),
                .write_cost = transfer_cost(speed_khz, cost::serial_page_program / page_bytes),
                .without_erase_hint = "Leave --erase none away, so that its block is erased.",
                .mismatch_hint = "The flash may be write-protected, or page, modes and divider of the connection do "
                                 "not suit it.",
            },
        .read = [&flash](std::uint32_t address, std::span<std::uint8_t> bytes,
                         const ChunkDone& done) { flash.read(address, bytes, done); },
        .write = [&flash](std::uint32_t address, std::span<const std::uint8_t> bytes,
                          const ChunkDone& done) { flash.write(address, bytes, done); },
        .erase = [&flash](const Range& block) { flash.erase(block.first, erase_length(block)); },
    };
    std::ranges::transform(erase_lengths, std::back_inserter(memory.traits.blocks), &EraseLength::block);
    return {
        .name = "the external flash",
        .memories = {std::move(memory)},
        .erase_all_seconds = erase_all_seconds(flash),
        .erase_all = [&flash] { flash.erase(0, ERASEALL); },
        .lift_protection = {},
        .not_erased_hint = "The flash may be write-protected: check its WP line and the protection bits of its status "
                           "register (`tessit qspi info` shows it).",
    };
}

} // namespace tessit::cli
