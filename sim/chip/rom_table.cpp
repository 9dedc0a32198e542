#include "sim/chip/rom_table.h"

#include <array>

namespace jlinksim {

struct RomTableTable
{
    static constexpr std::array rows{
        //                 name    offset  reset  writable  on write  on read
        Register<RomTable>{"ENTRY", 0x000, 0, 0},
        Register<RomTable>{.name = "PIDR4-7", .offset = 0xFD0, .count = 4},
        Register<RomTable>{.name = "PIDR0-3", .offset = 0xFE0, .on_read = &RomTable::read_peripheral_id, .count = 4},
        Register<RomTable>{"CIDR0", 0xFF0, 0x0D, 0},
        Register<RomTable>{"CIDR1", 0xFF4, 0x10, 0},
        Register<RomTable>{"CIDR2", 0xFF8, 0x05, 0},
        Register<RomTable>{"CIDR3", 0xFFC, 0xB1, 0},
    };
};

const std::span<const Register<RomTable>> RomTable::table{RomTableTable::rows};

RomTable::RomTable(std::uint32_t part, std::uint32_t revision, std::span<std::uint32_t> words, Records& records)
    : RegisterBlock("ROM table", table, words, records), part_(part), revision_(revision)
{
}

std::uint32_t RomTable::read_peripheral_id(unsigned index)
{
    // The designer's bits around part and revision are a fixed 0x4 and 0xB; the host looks only at part and revision.
    switch (index) {
    case 0:
        return part_ & 0xFF;
    case 1:
        return 0x40U | (part_ >> 8 & 0xFU);
    case 2:
        return (revision_ & 0xFU) << 4 | 0xBU;
    default:
        return 0;
    }
}

} // namespace jlinksim
