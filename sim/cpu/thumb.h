#pragma once

#include <bit>
#include <cstdint>

/// As much of the Thumb instruction set as the CPU carries out itself, without the instruction engine.
namespace jlinksim::thumb {

struct Instruction
{
    std::uint16_t first = 0;
    std::uint16_t second = 0; ///< of a 32-bit instruction, otherwise 0

    /// 0b11101, 0b11110 and 0b11111 in the top bits begin a 32-bit instruction.
    constexpr bool is_wide() const { return first >= 0xE800; }
    constexpr unsigned length() const { return is_wide() ? 4 : 2; }
};

enum class Kind
{
    ordinary,
    if_then,
    breakpoint,
    supervisor_call,
    yield,
    wait_for_event,
    wait_for_interrupt,
    send_event,
    mask_write,     ///< CPS and MSR
    floating_point, ///< an instruction of the floating point unit
    division,       ///< SDIV and UDIV
};

Kind classify(Instruction instruction);

/// What of an instruction may fail.
enum class Reach
{
    registers, ///< nothing: it changes registers, and goes on to the next one
    access,    ///< one access to memory, of which the registers show nothing when it is refused
    beyond,    ///< anything else
};

Reach reach_of(Instruction instruction);

/// The register that holds a division's divisor.
constexpr unsigned divisor_register(Instruction division)
{
    return division.second & 0xFU;
}

/// The ITSTATE field of XPSR: which condition the next instruction of an IT block is under, and how many follow.
class IfThen
{
public:
    constexpr IfThen() = default;
    /// From the lower byte of an IT instruction, or from a former state().
    constexpr explicit IfThen(std::uint8_t state) : state_{state} {}
    static IfThen of_xpsr(std::uint32_t xpsr);

    constexpr std::uint8_t state() const { return state_; }
    constexpr bool active() const { return state_ != 0; }
    /// Instructions that follow.
    constexpr unsigned length() const
    {
        return active() ? 4 - static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(state_ & 0xFU))) : 0;
    }
    /// Whether the next instruction is executed, by the flags in `xpsr`.
    bool condition_holds(std::uint32_t xpsr) const;
    /// After the next instruction.
    IfThen next() const;
    /// With the next instruction as the block's only one.
    IfThen only_next() const;
    std::uint32_t put_into(std::uint32_t xpsr) const;

private:
    std::uint8_t state_ = 0;
};

} // namespace jlinksim::thumb
