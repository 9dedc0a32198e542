#include "sim/chip/register_selector.h"

#include <array>
#include <optional>

namespace jlinksim {
namespace {

constexpr unsigned masks_selector = 20;
constexpr unsigned fpscr_selector = 33;
constexpr unsigned first_single_selector = 64;
constexpr unsigned singles = cpu_state_words - cpu_register::first_single;

/// Four registers in one word.
struct PackedRegister
{
    unsigned index;
    unsigned shift;
    std::uint32_t bits;
};
constexpr std::array packed_registers{
    PackedRegister{cpu_register::primask, 0, 1},
    PackedRegister{cpu_register::basepri, 8, 0xE0},
    PackedRegister{cpu_register::faultmask, 16, 1},
    PackedRegister{cpu_register::control, 24, 7},
};

/// Of a selector that stands for one register.
std::optional<unsigned> index_of(unsigned selector)
{
    if (selector < cpu_register_count) {
        return selector;
    }
    if (selector == fpscr_selector) {
        return cpu_register::fpscr;
    }
    const unsigned single = selector - first_single_selector;
    return selector >= first_single_selector && single < singles ? std::optional{cpu_register::first_single + single}
                                                                 : std::nullopt;
}

} // namespace

bool is_selector(unsigned selector)
{
    return selector == masks_selector || index_of(selector).has_value();
}

std::uint32_t read_selected(const Cpu& cpu, unsigned selector)
{
    if (const std::optional<unsigned> index = index_of(selector)) {
        return cpu.read_register(*index);
    }
    std::uint32_t value = 0;
    for (const PackedRegister& row : packed_registers) {
        value |= (cpu.read_register(row.index) & row.bits) << row.shift;
    }
    return value;
}

void write_selected(Cpu& cpu, unsigned selector, std::uint32_t value)
{
    if (const std::optional<unsigned> index = index_of(selector)) {
        cpu.write_register(*index, value);
        return;
    }
    for (const PackedRegister& row : packed_registers) {
        cpu.write_register(row.index, value >> row.shift & row.bits);
    }
}

} // namespace jlinksim
