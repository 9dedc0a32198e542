#pragma once

#include "sim/chip/ram.h"
#include "sim/device/register_block.h"

#include <functional>

namespace jlinksim {

/// The POWER block: reset reasons, and the power of the RAM's sections.
class Power final : public RegisterBlock<Power>
{
public:
    static constexpr std::uint32_t base = 0x40000000;
    static const std::span<const Register<Power>> table;

    /// Bits of RESETREAS. Power-on is told by none of them being set.
    static constexpr std::uint32_t reason_pin = 1U << 0;
    static constexpr std::uint32_t reason_system = 1U << 2;
    static constexpr std::uint32_t reason_control = 1U << 18;

    /// `on_ram_change` runs after sections got or lost their power.
    Power(const ChipModel& model, Ram& ram, std::span<std::uint32_t> words, Records& records,
          std::function<void()> on_ram_change);

    void reset(ResetKind kind) override;
    /// Bring the RAM's sections to what the registers say, without a change of content.
    void restore_ram_power();

private:
    friend struct PowerTable;

    void ram_power_written(std::uint32_t value, unsigned block);
    std::uint32_t sections_of(unsigned block) const;
    std::uint32_t first_section_of(unsigned block) const;

    const ChipModel& model_;
    Ram& ram_;
    std::function<void()> on_ram_change_;
};

} // namespace jlinksim
