#pragma once

#include "sim/cpu/direct_memory.h"
#include "sim/cpu/fault_status.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace jlinksim {

/// R0 to R15, XPSR, MSP, PSP, in the J-Link library's numbering: what its functions reach.
inline constexpr unsigned cpu_register_count = 19;

/// All of a program's state: those, then CONTROL, PRIMASK, BASEPRI, FAULTMASK, FPSCR and S0 to S31.
inline constexpr unsigned cpu_state_words = 56;
using CpuState = std::array<std::uint32_t, cpu_state_words>;

namespace cpu_register {
inline constexpr unsigned sp = 13; ///< the stack pointer in use: MSP or PSP
inline constexpr unsigned lr = 14;
inline constexpr unsigned pc = 15;
inline constexpr unsigned xpsr = 16;
inline constexpr unsigned msp = 17;
inline constexpr unsigned psp = 18;
inline constexpr unsigned control = 19;
inline constexpr unsigned primask = 20;
inline constexpr unsigned basepri = 21;
inline constexpr unsigned faultmask = 22;
inline constexpr unsigned fpscr = 23;
inline constexpr unsigned first_single = 24; ///< S0

inline constexpr std::uint32_t lr_after_reset = 0xFFFFFFFF;
inline constexpr std::uint32_t xpsr_thumb = 1U << 24;
inline constexpr std::uint32_t xpsr_exception = 0x1FF; ///< IPSR: the exception whose handler is executed, or 0
/// Flags, Thumb bit, the state of an IT block and the exception's number.
inline constexpr std::uint32_t xpsr_writable = 0xFF0FFC00 | xpsr_exception;

inline constexpr std::uint32_t control_unprivileged = 1U << 0;
inline constexpr std::uint32_t control_process_stack = 1U << 1;
inline constexpr std::uint32_t control_floating_point = 1U << 2; ///< FPCA: the program has used the unit

/// What a register keeps of a value: stack pointers are multiples of 4, the program counter of 2.
constexpr std::uint32_t writable_part(unsigned index, std::uint32_t value)
{
    switch (index) {
    case sp:
    case msp:
    case psp:
        return value & ~3U;
    case pc:
        return value & ~1U;
    case xpsr:
        return value & xpsr_writable;
    case control:
        return value & (control_unprivileged | control_process_stack | control_floating_point);
    default:
        return value;
    }
}
} // namespace cpu_register

/// Instructions that the CPU stops at instead of executing them as any other.
struct CpuTraps
{
    bool mask_writes = false;      ///< it stops behind them: something waits that may come then
    bool floating_point = false;   ///< the unit is off, or somebody's registers have to be saved first
    bool division_by_zero = false; ///< a fault instead of the result 0
    bool unaligned = false;        ///< a fault also where memory would take it

    bool operator==(const CpuTraps&) const = default;
};

/// Data whose accesses a debugger wants to know of.
struct Watchpoint
{
    unsigned comparator = 0; ///< whose it is
    std::uint32_t address = 0;
    std::uint64_t length = 0;
    bool reads = false;
    bool writes = false;
};

/// What stops the CPU for a debugger.
struct CpuStops
{
    std::vector<std::uint32_t> breakpoints; ///< addresses of instructions
    std::vector<Watchpoint> watchpoints;
};

/// How the CPU's accesses outside its direct memories reach the chip. `width` is 1, 2 or 4 bytes, the address is a
/// multiple of it, a value has no bits beyond it. False is a bus fault. While it is asked, the CPU's set_memories,
/// code_changed and end_run may be called, which take effect after the current instruction; no other function of it.
class CpuBus
{
public:
    virtual bool cpu_read(std::uint32_t address, unsigned width, std::uint32_t& value) = 0;
    virtual bool cpu_write(std::uint32_t address, unsigned width, std::uint32_t value) = 0;

protected:
    ~CpuBus() = default;
};

enum class StopReason
{
    budget_spent,        ///< all instructions asked for were executed
    run_ended,           ///< end_run was called
    masks_written,       ///< PRIMASK, BASEPRI, FAULTMASK or CONTROL may be others; the program counter is after the
                         ///< instruction
    breakpoint,          ///< a BKPT; the program counter is at it
    hardware_breakpoint, ///< an instruction whose address is one; the program counter is at it
    watchpoint,          ///< the program counter is after the instruction that made the access
    floating_point,      ///< a trapped one; the program counter is at it
    wait_for_interrupt,  ///< WFI; the program counter is after it, and after all below but a fault
    wait_for_event,      ///< WFE
    event_sent,          ///< SEV
    supervisor_call,     ///< SVC
    exception_return, ///< a branch to an EXC_RETURN value in handler mode, which the program counter and Thumb bit hold
    fault,            ///< an access or an instruction that the CPU cannot carry out; the program counter is at it
};

struct RunResult
{
    std::uint64_t instructions =
        0; ///< executed to their end: a BKPT, a trapped and a faulting one are not counted, WFI is
    StopReason why = StopReason::budget_spent;
    std::string fault; ///< what happened, for the record; empty without a fault
    FaultStatus status{};
    unsigned comparator = 0; ///< of the watchpoint
};

/// The instruction engine of a chip: it executes between exceptions, which are its owner's to take. Run state, modelled
/// time and debug registers are the chip's; a CPU executes when it is told to, and holds its registers between.
class Cpu
{
public:
    virtual ~Cpu() = default;

    /// Replace the direct memories, for example when a RAM section loses its power.
    virtual void set_memories(std::span<const DirectMemory> memories) = 0;
    /// Registers to their reset values, then the stack pointer and program counter of the vector table's first words.
    virtual void reset(std::uint32_t initial_stack_pointer, std::uint32_t reset_handler) = 0;
    /// `index` is below cpu_state_words. Writing XPSR's exception number changes between thread and handler mode.
    virtual std::uint32_t read_register(unsigned index) const = 0;
    virtual void write_register(unsigned index, std::uint32_t value) = 0;
    /// All that has to outlive the process.
    virtual CpuState save() const = 0;
    /// Only into a CPU that has not executed yet.
    virtual void restore(const CpuState& state) = 0;
    /// Execute at most `budget` instructions. An engine that cannot execute spends the budget and changes nothing.
    virtual RunResult run(std::uint64_t budget) = 0;
    virtual void end_run() = 0;
    /// Of the run under way: how many instructions have begun.
    virtual std::uint64_t begun() const = 0;
    /// Where it is: the program counter, during a run that of the instructions that have begun last.
    virtual std::uint32_t place() const = 0;
    /// For the next run.
    virtual void set_traps(CpuTraps traps) = 0;
    virtual void set_stops(const CpuStops& stops) = 0;
    /// The host (or the chip) changed these bytes; translated code of theirs is dropped.
    virtual void code_changed(std::uint32_t address, std::uint32_t length) = 0;
    /// False for the register file, which holds registers and executes nothing.
    virtual bool executes() const = 0;
};

/// The engine that the build chose (TESSIT_SIM_CPU). The bus outlives it. Throws std::runtime_error when the engine
/// cannot be had, for example because the system allows no memory for translated code.
std::unique_ptr<Cpu> make_cpu(CpuBus& bus);

} // namespace jlinksim
