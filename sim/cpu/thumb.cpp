#include "sim/cpu/thumb.h"

#include <array>

namespace jlinksim::thumb {

namespace {

/// By the number of the hint; a hint beyond the table is a NOP, as is number 0.
constexpr std::array hints{Kind::ordinary, Kind::yield, Kind::wait_for_event, Kind::wait_for_interrupt,
                           Kind::send_event};

Kind hint(unsigned number)
{
    return number < hints.size() ? hints[number] : Kind::ordinary;
}

// ITSTATE lies in two pieces: bits 1 and 0 are bits 26 and 25 of XPSR, bits 7 to 2 are its bits 15 to 10.
constexpr std::uint32_t xpsr_if_then_bits = 0x0600FC00;

/// The unit is coprocessors 10 and 11.
bool is_floating_point(Instruction wide)
{
    return (wide.first & 0xEC00U) == 0xEC00 && (wide.second & 0x0E00U) == 0x0A00;
}

Kind classify_wide(Instruction wide)
{
    if (wide.first == 0xF3AF && (wide.second & 0xFF00U) == 0x8000) {
        return hint(wide.second & 0xFFU);
    }
    if ((wide.first & 0xFFF0U) == 0xF380 && (wide.second & 0xF000U) == 0x8000) {
        return Kind::mask_write;
    }
    if ((wide.first & 0xFFD0U) == 0xFB90 && (wide.second & 0x00F0U) == 0x00F0) {
        return Kind::division;
    }
    return is_floating_point(wide) ? Kind::floating_point : Kind::ordinary;
}

/// By the upper half of a 16-bit instruction.
Reach reach_of_narrow(unsigned code, unsigned low)
{
    constexpr unsigned pc_as_destination = 0x87; // of the instructions on all registers
    if (code < 0x44 || code == 0x45) {
        return Reach::registers;
    }
    if (code < 0x48) {
        return code != 0x47 && (low & 0x87U) != pc_as_destination ? Reach::registers : Reach::beyond;
    }
    if (code < 0xA0) {
        return Reach::access;
    }
    return code <= 0xB0 || code == 0xB2 || code == 0xBA ? Reach::registers : Reach::beyond;
}

Reach reach_of_wide(Instruction wide)
{
    const bool loads_pc = (wide.first & 0xFF70U) == 0xF850 && wide.second >> 12U == 0xF;
    if (wide.first >> 9U == 0x7C) { // one register to or from memory
        return loads_pc ? Reach::beyond : Reach::access;
    }
    const bool shifts = wide.first >> 9U == 0x75;
    const bool is_immediate = wide.first >> 11U == 0x1E && (wide.second & 0x8000U) == 0;
    const bool takes_registers = wide.first >> 8U == 0xFA || wide.first >> 8U == 0xFB;
    return shifts || is_immediate || takes_registers ? Reach::registers : Reach::beyond;
}

} // namespace

Reach reach_of(Instruction instruction)
{
    if (classify(instruction) != Kind::ordinary) {
        return Reach::beyond;
    }
    return instruction.is_wide() ? reach_of_wide(instruction)
                                 : reach_of_narrow(instruction.first >> 8U, instruction.first & 0xFFU);
}

Kind classify(Instruction instruction)
{
    if (instruction.is_wide()) {
        return classify_wide(instruction);
    }
    const unsigned low = instruction.first & 0xFFU;
    switch (instruction.first >> 8U) {
    case 0xB6:
        return (low & 0xE8U) == 0x60 ? Kind::mask_write : Kind::ordinary;
    case 0xBE:
        return Kind::breakpoint;
    case 0xBF:
        return (low & 0xFU) != 0 ? Kind::if_then : hint(low >> 4U);
    case 0xDF:
        return Kind::supervisor_call;
    default:
        return Kind::ordinary;
    }
}

IfThen IfThen::of_xpsr(std::uint32_t xpsr)
{
    return IfThen{static_cast<std::uint8_t>(((xpsr >> 25U) & 0x3U) | ((xpsr >> 8U) & 0xFCU))};
}

std::uint32_t IfThen::put_into(std::uint32_t xpsr) const
{
    const std::uint32_t bits = ((state_ & 0x3U) << 25U) | ((state_ & 0xFCU) << 8U);
    return (xpsr & ~xpsr_if_then_bits) | bits;
}

bool IfThen::condition_holds(std::uint32_t xpsr) const
{
    const bool n = (xpsr & 1U << 31U) != 0;
    const bool z = (xpsr & 1U << 30U) != 0;
    const bool c = (xpsr & 1U << 29U) != 0;
    const bool v = (xpsr & 1U << 28U) != 0;
    // EQ, CS, MI, VS, HI, GE, GT, AL; an odd condition is the even one before it, negated.
    const std::array<bool, 8> even{z, c, n, v, c && !z, n == v, n == v && !z, true};
    const unsigned condition = state_ >> 4U;
    const bool negated = (condition & 1U) != 0 && condition != 0xF;
    return even[condition >> 1U] != negated;
}

IfThen IfThen::next() const
{
    const bool last = (state_ & 0x7U) == 0;
    return IfThen{static_cast<std::uint8_t>(last ? 0U : (state_ & 0xE0U) | ((unsigned{state_} << 1U) & 0x1FU))};
}

IfThen IfThen::only_next() const
{
    return IfThen{static_cast<std::uint8_t>((state_ & 0xF0U) | 0x8U)};
}

} // namespace jlinksim::thumb
