#pragma once

#include "sim/chip/processor.h"
#include "sim/device/register_block.h"

#include <cstdint>
#include <functional>

namespace jlinksim {

enum class RunState : std::uint32_t
{
    running,
    halted,    ///< in debug state: registers can be read and written
    sleeping,  ///< after WFI or WFE, until an exception, an event, a halt or a reset
    locked_up, ///< it cannot execute what it finds, and no debugger caught it
};

/// The core's debug registers, DHCSR, DCRSR, DCRDR and DEMCR, with the run state that outlasts the process. What is
/// written to them is the core's to carry out.
class DebugControl final : public RegisterBlock<DebugControl>
{
public:
    static const std::span<const Register<DebugControl>> table;

    struct Connections
    {
        std::function<RunState()> state; ///< with the sleep, which the CPU knows of
        std::function<void()> go;
        std::function<void()> halt;
        std::function<void(bool masks_interrupts)> step;
        /// Only while halted, and of a valid selector.
        std::function<std::uint32_t(unsigned selector)> read_cpu_register;
        std::function<void(unsigned selector, std::uint32_t value)> write_cpu_register;
    };

    DebugControl(std::span<std::uint32_t> words, Records& records, Connections connections);

    /// As it was set: running while it sleeps.
    RunState state() const;
    void set_state(RunState state);
    /// It has nothing to execute, and goes on locked up when it was halted.
    bool is_stuck() const;
    void set_stuck(bool stuck);

    bool is_enabled() const;
    void enable();
    bool is_trace_enabled() const; ///< TRCENA: without it the watchpoint unit is off
    bool catches_reset() const;
    Processor::DebugRequests requests() const;

private:
    friend struct DebugControlTable;

    std::uint32_t read_control(unsigned index);
    void write_control(std::uint32_t value, unsigned index);
    void transfer_register(std::uint32_t value, unsigned index);

    Connections connections_;
};

} // namespace jlinksim
