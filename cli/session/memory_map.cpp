#include "cli/session/memory_map.h"

#include <algorithm>
#include <array>

namespace tessit::cli::memory_map {
namespace {

struct Area
{
    Range range;
    const char* name;
};

constexpr std::array areas{
    Area{{0x00000000, 0x10000000}, "the flash area"},
    Area{ficr, "the factory area (FICR)"},
    Area{uicr, "the user configuration (UICR)"},
    Area{{0x12000000, 0x08000000}, "the external flash"},
    Area{{0x20000000, 0x20000000}, "RAM"},
    Area{{0x40000000, 0x20000000}, "the peripherals"},
    Area{{0xE0000000, 0x20000000}, "the CPU's own registers"},
};

} // namespace

const char* area_name(std::uint32_t address)
{
    const auto* const found = std::ranges::find_if(
        areas, [address](const Area& area) { return area.range.contains(std::uint64_t{address}); });
    return found == areas.end() ? "no known area" : found->name;
}

} // namespace tessit::cli::memory_map
