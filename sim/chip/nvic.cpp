#include "sim/chip/nvic.h"

namespace jlinksim {
namespace {

constexpr unsigned bit_words = interrupt_count / 32;
constexpr unsigned priority_words = interrupt_count / 4;

constexpr unsigned exception_of(unsigned interrupt)
{
    return exception::first_interrupt + interrupt;
}

} // namespace

struct NvicTable
{
    static constexpr std::array rows{
        // clang-format off
        Register<Nvic>{.name = "ISER", .offset = 0x100, .on_write = &Nvic::enable,         .on_read = &Nvic::read_enabled, .count = bit_words},
        Register<Nvic>{.name = "ICER", .offset = 0x180, .on_write = &Nvic::disable,        .on_read = &Nvic::read_enabled, .count = bit_words},
        Register<Nvic>{.name = "ISPR", .offset = 0x200, .on_write = &Nvic::pend,           .on_read = &Nvic::read_pending, .count = bit_words},
        Register<Nvic>{.name = "ICPR", .offset = 0x280, .on_write = &Nvic::clear_pending,  .on_read = &Nvic::read_pending, .count = bit_words},
        Register<Nvic>{.name = "IABR", .offset = 0x300,                                    .on_read = &Nvic::read_active,  .count = bit_words},
        Register<Nvic>{.name = "IPR",  .offset = 0x400, .on_write = &Nvic::set_priorities, .on_read = &Nvic::read_priorities,
                       .count = priority_words, .bytes = true},
        Register<Nvic>{.name = "STIR", .offset = Nvic::trigger_offset, .on_write = &Nvic::trigger},
        // clang-format on
    };
};

const std::span<const Register<Nvic>> Nvic::table{NvicTable::rows};

Nvic::Nvic(Exceptions& exceptions, std::span<std::uint32_t> words, Records& records)
    : RegisterBlock("NVIC", table, words, records), exceptions_(exceptions)
{
}

std::uint32_t Nvic::collect(const Exceptions& exceptions, Ask ask, unsigned index)
{
    std::uint32_t bits = 0;
    for (unsigned bit = 0; bit < 32; ++bit) {
        bits |= (exceptions.*ask)(exception_of(32 * index + bit)) ? 1U << bit : 0U;
    }
    return bits;
}

template <class Action>
void Nvic::for_ones(std::uint32_t ones, unsigned index, Action action)
{
    for (unsigned bit = 0; bit < 32; ++bit) {
        if ((ones >> bit & 1U) != 0) {
            action(exception_of(32 * index + bit));
        }
    }
}

std::uint32_t Nvic::read_enabled(unsigned index)
{
    return collect(exceptions_, &Exceptions::is_enabled, index);
}

std::uint32_t Nvic::read_pending(unsigned index)
{
    return collect(exceptions_, &Exceptions::is_pending, index);
}

std::uint32_t Nvic::read_active(unsigned index)
{
    return collect(exceptions_, &Exceptions::is_active, index);
}

std::uint32_t Nvic::read_priorities(unsigned index)
{
    std::uint32_t priorities = 0;
    for (unsigned byte = 0; byte < 4; ++byte) {
        const int priority = exceptions_.priority(exception_of(4 * index + byte));
        priorities |= static_cast<std::uint32_t>(priority) << 8 * byte;
    }
    return priorities;
}

void Nvic::enable(std::uint32_t ones, unsigned index)
{
    for_ones(ones, index, [this](unsigned number) { exceptions_.set_enabled(number, true); });
}

void Nvic::disable(std::uint32_t ones, unsigned index)
{
    for_ones(ones, index, [this](unsigned number) { exceptions_.set_enabled(number, false); });
}

void Nvic::pend(std::uint32_t ones, unsigned index)
{
    for_ones(ones, index, [this](unsigned number) { exceptions_.pend(number); });
}

void Nvic::clear_pending(std::uint32_t ones, unsigned index)
{
    for_ones(ones, index, [this](unsigned number) { exceptions_.clear_pending(number); });
}

void Nvic::set_priorities(std::uint32_t priorities, unsigned index)
{
    for (unsigned byte = 0; byte < 4; ++byte) {
        exceptions_.set_priority(exception_of(4 * index + byte), static_cast<std::uint8_t>(priorities >> 8 * byte));
    }
}

void Nvic::trigger(std::uint32_t interrupt, unsigned /*index*/)
{
    if ((interrupt & 0x1FFU) < interrupt_count) {
        exceptions_.pend(exception_of(interrupt & 0x1FFU));
    }
}

} // namespace jlinksim
