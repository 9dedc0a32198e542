#include "sim/chip/power.h"

#include <array>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t reset_reasons = 0x400;
constexpr std::uint32_t ram_power = 0x900;
constexpr unsigned ram_blocks = 9; ///< every chip answers for all of them, also for those that it does not have
constexpr unsigned ram_block_stride = 0x10;
constexpr unsigned large_sections_block = 8;

constexpr std::uint32_t register_of(unsigned block)
{
    return ram_power + block * ram_block_stride;
}

} // namespace

struct PowerTable
{
    static constexpr std::array rows{
        Register<Power>{.name = "RESETREAS",
                        .offset = reset_reasons,
                        .writable = ~0U,
                        .effect = WriteEffect::clear_ones,
                        .retained = true},
        Register<Power>{.name = "RAM.POWER",
                        .offset = ram_power,
                        .writable = 0xFFFF,
                        .on_write = &Power::ram_power_written,
                        .count = ram_blocks,
                        .stride = ram_block_stride,
                        .retained = true},
        Register<Power>{.name = "RAM.POWERSET",
                        .offset = ram_power + 4,
                        .writable = 0xFFFF,
                        .on_write = &Power::ram_power_written,
                        .effect = WriteEffect::set_other,
                        .other = ram_power,
                        .count = ram_blocks,
                        .stride = ram_block_stride},
        Register<Power>{.name = "RAM.POWERCLR",
                        .offset = ram_power + 8,
                        .writable = 0xFFFF,
                        .on_write = &Power::ram_power_written,
                        .effect = WriteEffect::clear_other,
                        .other = ram_power,
                        .count = ram_blocks,
                        .stride = ram_block_stride},
    };
};

const std::span<const Register<Power>> Power::table{PowerTable::rows};

Power::Power(const ChipModel& model, Ram& ram, std::span<std::uint32_t> words, Records& records,
             std::function<void()> on_ram_change)
    : RegisterBlock("POWER", table, words, records), model_(model), ram_(ram), on_ram_change_(std::move(on_ram_change))
{
}

std::uint32_t Power::first_section_of(unsigned block) const
{
    return block == large_sections_block ? model_.small_ram_sections : 2 * block;
}

std::uint32_t Power::sections_of(unsigned block) const
{
    if (block == large_sections_block) {
        return model_.large_ram_sections;
    }
    return 2 * block < model_.small_ram_sections ? 2 : 0;
}

void Power::ram_power_written(std::uint32_t /*value*/, unsigned block)
{
    std::uint32_t& bits = word(register_of(block));
    bits &= (1U << sections_of(block)) - 1;
    for (std::uint32_t i = 0; i < sections_of(block); ++i) {
        ram_.set_powered(first_section_of(block) + i, (bits >> i & 1U) != 0);
    }
    on_ram_change_();
}

void Power::restore_ram_power()
{
    for (unsigned block = 0; block < ram_blocks; ++block) {
        for (std::uint32_t i = 0; i < sections_of(block); ++i) {
            ram_.restore_powered(first_section_of(block) + i, (word(register_of(block)) >> i & 1U) != 0);
        }
    }
    on_ram_change_();
}

void Power::reset(ResetKind kind)
{
    RegisterBlock::reset(kind);
    switch (kind) {
    case ResetKind::power_on:
        for (unsigned block = 0; block < ram_blocks; ++block) {
            word(register_of(block)) = (1U << sections_of(block)) - 1;
        }
        restore_ram_power();
        break;
    case ResetKind::pin:
        word(reset_reasons) |= reason_pin;
        break;
    case ResetKind::system:
        word(reset_reasons) |= reason_system;
        break;
    case ResetKind::control:
        word(reset_reasons) |= reason_control;
        break;
    }
}

} // namespace jlinksim
