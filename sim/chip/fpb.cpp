#include "sim/chip/fpb.h"

namespace jlinksim {
namespace {

constexpr unsigned comparators = 6;
constexpr std::uint32_t control = 0x000;
constexpr std::uint32_t first_comparator = 0x008;

constexpr std::uint32_t unit_enabled = 1U << 0;
constexpr std::uint32_t key = 1U << 1; // without it a write to the control register changes nothing
constexpr std::uint32_t comparator_enabled = 1U << 0;
constexpr std::uint32_t address_bits = 0x1FFFFFFC;
constexpr std::uint32_t at_lower_halfword = 1U << 30;
constexpr std::uint32_t at_upper_halfword = 1U << 31;

} // namespace

struct FpbTable
{
    static constexpr std::array rows{
        // clang-format off
        Register<Fpb>{"CTRL", control, comparators << 4, 0, &Fpb::write_control},
        Register<Fpb>{.name = "COMP", .offset = first_comparator,
                      .writable = comparator_enabled | address_bits | at_lower_halfword | at_upper_halfword, .count = comparators},
        // clang-format on
    };
};

const std::span<const Register<Fpb>> Fpb::table{FpbTable::rows};

Fpb::Fpb(std::span<std::uint32_t> words, Records& records) : RegisterBlock("FPB", table, words, records) {}

void Fpb::write_control(std::uint32_t value, unsigned /*index*/)
{
    if ((value & key) != 0) {
        word(control) = (word(control) & ~unit_enabled) | (value & unit_enabled);
    }
}

std::vector<std::uint32_t> Fpb::breakpoints() const
{
    std::vector<std::uint32_t> addresses;
    if ((word(control) & unit_enabled) == 0) {
        return addresses;
    }
    for (unsigned number = 0; number < comparators; ++number) {
        const std::uint32_t comparator = word(first_comparator + 4 * number);
        const std::uint32_t enabled = (comparator & comparator_enabled) != 0 ? comparator : 0;
        if ((enabled & at_lower_halfword) != 0) {
            addresses.push_back(enabled & address_bits);
        }
        if ((enabled & at_upper_halfword) != 0) {
            addresses.push_back((enabled & address_bits) + 2);
        }
    }
    return addresses;
}

} // namespace jlinksim
