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

const Area* find_area(std::uint32_t address)
{
    return std::ranges::find_if(areas,
                                [address](const Area& area) { return area.range.contains(std::uint64_t{address}); });
}

} // namespace

Range area_of(std::uint32_t address)
{
    const auto* const found = find_area(address);
    constexpr std::uint64_t end_of_all = std::uint64_t{1} << 32;
    return found == areas.end() ? Range{address, end_of_all - address} : found->range;
}

const char* area_name(std::uint32_t address)
{
    const auto* const found = find_area(address);
    return found == areas.end() ? "no known area" : found->name;
}

} // namespace tessit::cli::memory_map
