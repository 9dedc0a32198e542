#include "sim/chip/dwt.h"

namespace jlinksim {
namespace {

constexpr unsigned comparators = 4;
constexpr unsigned comparator_stride = 16;

constexpr std::uint32_t control = 0x000;
constexpr std::uint32_t cycle_count = 0x004; // CYCCNT
constexpr std::uint32_t first_address = 0x020;
constexpr std::uint32_t first_mask = 0x024;
constexpr std::uint32_t first_function = 0x028;

constexpr std::uint32_t counts_cycles = 1U << 0;
constexpr std::uint32_t function_bits = 0xF;
constexpr std::uint32_t has_matched = 1U << 24;

/// Values of a comparator's function that halt at data accesses; the others are of trace, which nothing listens to.
enum Function : std::uint32_t
{
    on_read = 5,
    on_write = 6,
    on_access = 7,
};

} // namespace

struct DwtTable
{
    static constexpr std::array rows{
        // clang-format off
        Register<Dwt>{"CTRL",   control,     comparators << 28, counts_cycles},
        Register<Dwt>{"CYCCNT", cycle_count, 0,                 ~0U},
        Register<Dwt>{.name = "COMP",     .offset = first_address,  .writable = ~0U, .count = comparators, .stride = comparator_stride},
        Register<Dwt>{.name = "MASK",     .offset = first_mask,     .writable = 0x1F, .count = comparators, .stride = comparator_stride},
        Register<Dwt>{.name = "FUNCTION", .offset = first_function, .writable = function_bits, .on_read = &Dwt::read_function,
                      .count = comparators, .stride = comparator_stride},
        // clang-format on
    };
};

const std::span<const Register<Dwt>> Dwt::table{DwtTable::rows};

Dwt::Dwt(std::span<std::uint32_t> words, Records& records) : RegisterBlock("DWT", table, words, records) {}

void Dwt::advance(std::uint64_t cycles)
{
    if ((word(control) & counts_cycles) != 0) {
        word(cycle_count) += static_cast<std::uint32_t>(cycles);
    }
}

std::vector<Watchpoint> Dwt::watchpoints() const
{
    std::vector<Watchpoint> found;
    for (unsigned number = 0; number < comparators; ++number) {
        const std::uint32_t offset = number * comparator_stride;
        const std::uint32_t function = word(first_function + offset) & function_bits;
        const std::uint32_t ignored = (1U << word(first_mask + offset)) - 1;
        if (function >= on_read && function <= on_access) {
            found.push_back({.comparator = number,
                             .address = word(first_address + offset) & ~ignored,
                             .length = std::uint64_t{ignored} + 1,
                             .reads = function != on_write,
                             .writes = function != on_read});
        }
    }
    return found;
}

void Dwt::note_match(unsigned comparator)
{
    word(first_function + comparator * comparator_stride) |= has_matched;
}

std::uint32_t Dwt::read_function(unsigned index)
{
    std::uint32_t& function = word(first_function + index * comparator_stride);
    const std::uint32_t value = function;
    function &= ~has_matched;
    return value;
}

} // namespace jlinksim
