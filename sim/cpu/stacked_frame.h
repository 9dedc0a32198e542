#pragma once

#include "sim/cpu/cpu.h"

#include <cstdint>
#include <optional>

namespace jlinksim {

/// EXC_RETURN: what LR holds in a handler, and what a branch to ends the handler with.
class ExceptionReturn
{
public:
    constexpr explicit ExceptionReturn(std::uint32_t value) : value_{value} {}
    /// Back to what a CPU executes at this moment.
    static ExceptionReturn to_now(const Cpu& cpu);

    constexpr std::uint32_t value() const { return value_; }
    constexpr bool is_to_thread() const { return (value_ & 0x8U) != 0; }
    constexpr bool is_to_process_stack() const { return (value_ & 0x4U) != 0; }
    /// The frame has room for the floating point registers.
    constexpr bool is_extended() const { return (value_ & 0x10U) == 0; }
    /// Whether it is one of the six that the architecture knows.
    constexpr bool is_known() const
    {
        const std::uint32_t kind = value_ & 0xFU;
        return (value_ | 0x10U) >= 0xFFFFFFF0 && (kind == 0x1 || kind == 0x9 || kind == 0xD);
    }

private:
    std::uint32_t value_;
};

/// How a frame is laid out on the stack.
struct FrameLayout
{
    bool aligned = true;       ///< to 8 bytes, as CCR's STKALIGN says
    bool saves_singles = true; ///< at once; otherwise when a handler first uses the floating point unit
};

/// Puts what an exception interrupts onto its stack, and takes it back.
class StackedFrame
{
public:
    static constexpr std::uint32_t singles_offset = 0x20;

    StackedFrame(Cpu& cpu, CpuBus& bus) : cpu_{cpu}, bus_{bus} {}

    /// Onto the stack in use, whose pointer goes down also when memory refuses the frame. It gives the frame's address,
    /// or nothing when it was refused.
    std::optional<std::uint32_t> push(FrameLayout layout);
    /// In handler mode. False and without effect when memory refuses the frame.
    bool pop(ExceptionReturn how, FrameLayout layout);
    /// S0 to S15 and FPSCR, to where a frame has room for them.
    bool save_singles(std::uint32_t address);
    /// XPSR in a frame on the stack that an exception return names; nothing when it cannot be read.
    std::optional<std::uint32_t> stacked_status(ExceptionReturn how);

private:
    bool load_singles(std::uint32_t address);
    bool write(std::uint32_t address, std::uint32_t value) { return bus_.cpu_write(address, 4, value); }
    std::uint32_t stack_pointer(ExceptionReturn how) const;

    Cpu& cpu_;
    CpuBus& bus_;
};

} // namespace jlinksim
