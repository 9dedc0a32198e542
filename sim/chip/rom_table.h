#pragma once

#include "sim/device/register_block.h"

namespace jlinksim {

/// The CoreSight ROM table: identification that answers also where the FICR is blank.
class RomTable final : public RegisterBlock<RomTable>
{
public:
    static constexpr std::uint32_t base = 0xF0000000;
    static constexpr std::uint32_t bytes = 0x1000;
    static const std::span<const Register<RomTable>> table;

    /// @param part     part number, 12 bits
    /// @param revision 4 bits
    RomTable(std::uint32_t part, std::uint32_t revision, std::span<std::uint32_t> words, Records& records);

private:
    friend struct RomTableTable;
    std::uint32_t read_peripheral_id(unsigned index);

    std::uint32_t part_;
    std::uint32_t revision_;
};

} // namespace jlinksim
