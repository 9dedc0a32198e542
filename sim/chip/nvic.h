#pragma once

#include "sim/cpu/exceptions.h"
#include "sim/device/register_block.h"

#include <cstdint>

namespace jlinksim {

/// The registers of the interrupt controller.
class Nvic final : public RegisterBlock<Nvic>
{
public:
    static constexpr std::uint32_t window_begin = 0x100;
    static constexpr std::uint32_t window_bytes = 0x400;
    static constexpr std::uint32_t trigger_offset = 0xF00; // STIR, away from the others
    static const std::span<const Register<Nvic>> table;

    Nvic(Exceptions& exceptions, std::span<std::uint32_t> words, Records& records);

private:
    friend struct NvicTable;

    using Ask = bool (Exceptions::*)(unsigned number) const;
    static std::uint32_t collect(const Exceptions& exceptions, Ask ask, unsigned index);
    template <class Action>
    void for_ones(std::uint32_t ones, unsigned index, Action action);

    std::uint32_t read_enabled(unsigned index);
    std::uint32_t read_pending(unsigned index);
    std::uint32_t read_active(unsigned index);
    std::uint32_t read_priorities(unsigned index);
    void enable(std::uint32_t ones, unsigned index);
    void disable(std::uint32_t ones, unsigned index);
    void pend(std::uint32_t ones, unsigned index);
    void clear_pending(std::uint32_t ones, unsigned index);
    void set_priorities(std::uint32_t priorities, unsigned index);
    void trigger(std::uint32_t interrupt, unsigned index);

    Exceptions& exceptions_;
};

} // namespace jlinksim
