#pragma once

#include <cstdint>
#include <span>

namespace jlinksim {

/// Memory that the CPU reads and executes without asking the bus; writes go to the bus where it is not writable.
/// Base and size are multiples of 4 KiB; the bytes outlive the CPU.
struct DirectMemory
{
    std::uint32_t base = 0;
    std::span<std::uint8_t> bytes;
    bool writable = false;
};

/// Whether the memories cover a stretch, one after the other.
bool covers(std::span<const DirectMemory> memories, std::uint32_t address, std::uint64_t length);

} // namespace jlinksim
