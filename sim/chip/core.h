#pragma once

#include "sim/chip/bus.h"
#include "sim/chip/debug_control.h"
#include "sim/chip/dwt.h"
#include "sim/chip/fpb.h"
#include "sim/chip/nvic.h"
#include "sim/chip/processor.h"
#include "sim/chip/system_control.h"
#include "sim/chip/systick.h"
#include "sim/device/register_block.h"
#include "sim/device/services.h"

#include <array>
#include <functional>
#include <optional>
#include <vector>

namespace jlinksim {

/// The CPU as a debugger sees it: its run state and its share of time. The parts of the system control space are
/// members.
class Core
{
public:
    static constexpr std::uint32_t base = 0xE000E000;
    static constexpr std::uint32_t bytes = 0x1000;

    /// What the core asks of the chip around it.
    struct Connections
    {
        std::function<void()> request_reset;                 ///< through AIRCR; carried out between accesses
        std::function<std::vector<DirectMemory>()> memories; ///< what can be executed from, at this moment
        std::function<void(std::uint64_t nanoseconds)> live; ///< this much has passed for everything else, too
        std::function<std::uint64_t()> time_to_event;        ///< in nanoseconds; the largest number without one
        std::function<void()> peripheral_written;            ///< by the CPU just now
    };

    /// For the registers of each part.
    struct Words
    {
        std::span<std::uint32_t> debug;
        std::span<std::uint32_t> control;
        std::span<std::uint32_t> timer;
        std::span<std::uint32_t> nvic;
        std::span<std::uint32_t> fpb;
        std::span<std::uint32_t> dwt;
    };

    /// `kept` is what a process leaves of the CPU for the next one.
    Core(Bus& bus, ProcessorState& kept, const Words& words, Records& records, Connections connections);
    /// All of the system control space, and the units of breakpoints and watchpoints.
    void attach_to(Bus& bus);

    RunState state() const;
    bool is_halted() const { return state() == RunState::halted; }
    void enable_debug() { debug_.enable(); }

    void halt();
    /// As the vector catch does: at the reset handler's first instruction. The chip was reset just now.
    void halt_at_reset();
    void go();
    /// One instruction; the core must be halted and stays so. An exception that waits is taken in its place; with
    /// `masks_interrupts` PendSV, SysTick and the peripherals' interrupts go on waiting.
    void step(bool masks_interrupts);
    /// Only while halted, and index below cpu_register_count.
    std::uint32_t read_cpu_register(unsigned index);
    void write_cpu_register(unsigned index, std::uint32_t value);

    /// Held in reset: it does not execute.
    void hold(bool held) { held_ = held; }
    void reset(ResetKind kind);
    /// Execute what fits into this time, within the bound for one call.
    void elapse(std::uint64_t nanoseconds);

    /// A peripheral's interrupt line.
    void drive(unsigned interrupt, bool high) { exceptions_.drive(interrupt, high); }
    /// An instruction of the CPU makes the access at hand.
    bool is_executing() const { return processor_ && processor_->is_executing(); }
    std::uint32_t program_counter() const;
    /// The access at hand lets the CPU wait; an interrupt may cut that short or not.
    void stall(std::uint64_t nanoseconds, bool is_interruptible);
    void code_changed(std::uint32_t address, std::uint32_t length);
    void memories_changed();

private:
    void write_selected_register(unsigned selector, std::uint32_t value);
    /// What the fetch of a program's first instruction meets; no bits when there could be one.
    FaultStatus first_fetch(std::uint32_t handler);
    Processor& processor();
    Cpu& cpu() { return processor().cpu(); }
    void ended(Processor::Ending how);
    void pass(std::uint64_t cycles);
    std::uint64_t cycles_to_event();
    void request_reset();
    void clear_active();
    Processor& ready();
    CpuStops stops() const;
    void lock_up();
    void keep_registers();
    void end_stall();

    Bus& bus_;
    ProcessorState& kept_;
    Records& records_;
    Connections connections_;
    DebugControl debug_;
    Exceptions exceptions_;
    SystemControl control_;
    SysTick timer_;
    Nvic nvic_;
    Fpb fpb_;
    Dwt dwt_;
    std::optional<Processor> processor_; ///< made when first needed: most sessions never run it
    bool memories_are_stale_ = true;
    bool held_ = false;
    std::uint64_t unspent_ = 0; ///< of a cycle, in nanoseconds times cpu_hertz
    std::uint64_t unlived_ = 0; ///< of a nanosecond, in cycles times a second's nanoseconds
};

} // namespace jlinksim
