#pragma once

#include "sim/device/register_block.h"
#include "sim/model/chip_model.h"

#include <vector>

namespace jlinksim {

/// Flash blocks (of a page each) that a bench declares protected, as a chip's start-up code would have protected them.
///
/// They are in force from power-on. Where the chip has a disable register, writing 1 to it releases them at the next
/// system reset, and power-on, pin and CTRL-AP resets bring them back. Elsewhere any reset releases them.
class BlockProtection final : public RegisterBlock<BlockProtection>
{
public:
    static const std::span<const Register<BlockProtection>> table;
    static constexpr std::uint32_t window_bytes = 16;

    BlockProtection(const ChipModel& model, std::vector<std::uint32_t> blocks, std::span<std::uint32_t> words,
                    Records& records);

    bool in_force() const;
    /// Whether the flash offset lies in a block that is protected now.
    bool covers(std::uint32_t offset) const;
    void reset(ResetKind kind) override;

private:
    BlockProtectionRelease release_;
    std::vector<std::uint32_t> blocks_; ///< ascending
};

} // namespace jlinksim
