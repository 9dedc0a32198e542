#include "sim/cpu/direct_memory.h"

namespace jlinksim {

bool covers(std::span<const DirectMemory> memories, std::uint32_t address, std::uint64_t length)
{
    const std::uint64_t end = address + length;
    std::uint64_t covered = address;
    for (bool goes_on = true; goes_on && covered < end;) {
        goes_on = false;
        for (const DirectMemory& memory : memories) {
            if (covered >= memory.base && covered - memory.base < memory.bytes.size()) {
                covered = memory.base + memory.bytes.size();
                goes_on = true;
            }
        }
    }
    return covered >= end;
}

} // namespace jlinksim
