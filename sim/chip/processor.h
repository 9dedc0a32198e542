#pragma once

#include "sim/chip/bus.h"
#include "sim/chip/system_control.h"
#include "sim/cpu/cpu.h"
#include "sim/cpu/exceptions.h"
#include "sim/cpu/processor_state.h"
#include "sim/cpu/stacked_frame.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace jlinksim {

/// Where the program counter of a CPU stands that is locked up.
inline constexpr std::uint32_t lock_up_address = 0xFFFFFFFE;

/// The engine and the exceptions: between them the engine executes, at them the architecture's rules are carried out.
class Processor final : private CpuBus
{
public:
    struct Parts
    {
        Bus& bus;
        Exceptions& exceptions;
        SystemControl& control;
        ProcessorState& kept;
        Records& records;
    };

    /// Timers and peripherals, which live on while it executes.
    struct Surroundings
    {
        std::function<void(std::uint64_t cycles)> pass;
        std::function<std::uint64_t()> cycles_to_event; ///< after which an interrupt may come; at least 1
        std::function<void()> peripheral_written;
        std::function<void(unsigned comparator)> watchpoint_met;
    };

    /// What a debugger has asked for in DHCSR and DEMCR.
    struct DebugRequests
    {
        bool attached = false;
        bool masks_interrupts = false;
        std::uint32_t catches = 0; ///< DEMCR
    };

    /// Sleeping takes cycles and executes nothing.
    struct Allowance
    {
        std::uint64_t cycles = 0;
        std::uint64_t instructions = 0;
    };

    enum class Ending
    {
        allowance_spent, ///< or end_run was called
        debug_event,     ///< DFSR tells which
        locked_up,
    };

    Processor(Parts parts, Surroundings surroundings);
    Processor(const Processor&) = delete;
    Processor& operator=(const Processor&) = delete;

    Ending run(Allowance allowance, const DebugRequests& debug);
    /// One instruction, or the begin of a handler in its place.
    Ending step(const DebugRequests& debug);

    /// While it runs, for the parts around it: end the run; look again for what comes next.
    void end_run();
    void look_again();
    bool is_running() const { return running_; }
    /// What the instruction under way accesses lets it wait for so many cycles. Whether an interrupt may cut that
    /// short.
    void stall(std::uint64_t cycles, bool is_interruptible);
    void end_stall() { stalled_ = 0; }
    /// Whether it is an instruction that makes the access at hand.
    bool is_executing() const { return executing_; }

    Cpu& cpu() { return *cpu_; }
    std::uint32_t place() const { return cpu_->place(); }

private:
    bool cpu_read(std::uint32_t address, unsigned width, std::uint32_t& value) override;
    bool cpu_write(std::uint32_t address, unsigned width, std::uint32_t value) override;
    void catch_up();

    void begin(Allowance allowance, const DebugRequests& debug);
    Ending end();
    void advance();
    void execute(std::uint64_t limit);
    void handle(const RunResult& result);
    void pass(std::uint64_t cycles);
    void doze();
    bool is_stalled() const;
    void wait_for_bus();
    bool wakes();
    void sleep_until(Sleep what);

    PriorityMasks masks() const;
    std::optional<unsigned> waiting_exception() const;
    CpuTraps traps() const;
    bool is_privileged() const;

    void enter(unsigned number);
    void take(unsigned number, ExceptionReturn how);
    void leave();
    bool is_valid(ExceptionReturn how);
    void fault(FaultStatus status, const std::string& what);
    void chain_fault(FaultStatus status, const char* what, ExceptionReturn how);
    std::optional<unsigned> handler_of(FaultStatus status, const std::string& what);
    std::optional<unsigned> escalate(std::uint32_t reason, const std::string& what);
    void raise(unsigned number);
    void use_floating_point();
    void meet_breakpoint();
    void halt_for_debugger(std::uint32_t event);
    bool is_caught(unsigned number) const;
    void lock_up();

    Parts parts_;
    Surroundings surroundings_;
    std::unique_ptr<Cpu> cpu_;
    StackedFrame frame_;

    // The run under way.
    DebugRequests debug_;
    Allowance left_;
    std::uint64_t passed_ = 0;  ///< instructions of the engine's run whose cycles have passed
    std::uint64_t stalled_ = 0; ///< cycles for which an access still waits
    bool stall_is_interruptible_ = false;
    bool running_ = false;
    bool executing_ = false;
    bool asked_to_end_ = false;
    std::optional<Ending> ending_;
};

} // namespace jlinksim
