#include "sim/chip/block_protection.h"

#include <algorithm>
#include <array>
#include <utility>

namespace jlinksim {
namespace {

// The window starts at the chip's disable register. The released flag is the hardware's own, beyond every address.
constexpr std::uint32_t disable_register = 0;
constexpr std::uint32_t released_flag = 0x1000;

constexpr std::array rows{
    //                        name       offset            reset  writable
    Register<BlockProtection>{"DISABLE", disable_register, 0, 1},
    Register<BlockProtection>{"(flag)", released_flag, 0, 0},
};

} // namespace

const std::span<const Register<BlockProtection>> BlockProtection::table{rows};

BlockProtection::BlockProtection(const ChipModel& model, std::vector<std::uint32_t> blocks,
                                 std::span<std::uint32_t> words, Records& records)
    : RegisterBlock("BPROT", table, words, records), release_(model.release), blocks_(std::move(blocks))
{
    std::ranges::sort(blocks_);
}

bool BlockProtection::in_force() const
{
    return !blocks_.empty() && word(released_flag) == 0;
}

bool BlockProtection::covers(std::uint32_t offset) const
{
    return in_force() && std::ranges::binary_search(blocks_, offset / flash_page_bytes);
}

void BlockProtection::reset(ResetKind kind)
{
    const bool disabled = word(disable_register) != 0;
    RegisterBlock::reset(kind);
    if (release_ == BlockProtectionRelease::by_reset) {
        word(released_flag) = kind != ResetKind::power_on ? 1 : 0;
    } else {
        word(released_flag) = kind == ResetKind::system && disabled ? 1 : 0;
    }
}

} // namespace jlinksim
