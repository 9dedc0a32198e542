#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace jlinksim {

/// Numbers of the architecture's exceptions, as IPSR and the vector table count them.
namespace exception {
inline constexpr unsigned nmi = 2;
inline constexpr unsigned hard_fault = 3;
inline constexpr unsigned memory_management = 4;
inline constexpr unsigned bus_fault = 5;
inline constexpr unsigned usage_fault = 6;
inline constexpr unsigned supervisor_call = 11;
inline constexpr unsigned debug_monitor = 12;
inline constexpr unsigned pend_sv = 14;
inline constexpr unsigned sys_tick = 15;
inline constexpr unsigned first_interrupt = 16;
} // namespace exception

inline constexpr unsigned interrupt_count = 64;
inline constexpr unsigned exception_count = exception::first_interrupt + interrupt_count;
inline constexpr unsigned exception_words = (exception_count + 31) / 32;

/// A set of exceptions, bit N being number N.
using ExceptionBits = std::array<std::uint32_t, exception_words>;

/// All that has to outlive the process. Zeros are what a reset leaves.
struct ExceptionState
{
    ExceptionBits enabled;
    ExceptionBits pending;
    ExceptionBits active;
    ExceptionBits asserted; ///< the peripherals' lines that are high
    std::array<std::uint8_t, exception_count> priorities;
    std::uint32_t priority_grouping; ///< PRIGROUP: bits above this one are the group's
    std::uint32_t current;           ///< whose handler is executed; 0 in thread mode
};

/// The CPU's registers that hold exceptions back.
struct PriorityMasks
{
    std::uint32_t primask = 0;
    std::uint32_t basepri = 0;
    std::uint32_t faultmask = 0;
};

/// Which exceptions wait, which are being handled, and which comes next. It knows nothing of registers or memory.
class Exceptions
{
public:
    /// Only the upper three bits of a priority are there.
    static constexpr std::uint8_t priority_bits = 0xE0;
    /// Of code that handles nothing: every exception comes before it.
    static constexpr int thread_priority = 256;
    static constexpr int hard_fault_priority = -1;

    explicit Exceptions(ExceptionState& state) : state_{state} {}

    /// The lines stay as the peripherals drive them.
    void reset();

    bool is_enabled(unsigned number) const;
    void set_enabled(unsigned number, bool enabled);
    /// Whether an interrupt of a peripheral is pending, enabled or not.
    bool has_pending_interrupt() const;
    bool is_pending(unsigned number) const { return has(state_.pending, number); }
    void pend(unsigned number) { put(state_.pending, number, true); }
    /// An interrupt whose line is high stays pending.
    void clear_pending(unsigned number);
    bool is_active(unsigned number) const { return has(state_.active, number); }
    void set_active(unsigned number, bool active) { put(state_.active, number, active); }
    unsigned active_count() const;
    void forget_active();

    /// The exception whose handler is executed, as IPSR tells; 0 in thread mode.
    unsigned current() const { return state_.current; }
    void set_current(unsigned number) { state_.current = number; }
    /// Its handler begins: it is no longer pending.
    void enter(unsigned number);
    /// The current one's handler has ended; a line that is still high makes it pending again.
    void leave();
    /// A peripheral's interrupt line.
    void drive(unsigned interrupt, bool high);

    int priority(unsigned number) const;
    void set_priority(unsigned number, std::uint8_t priority) { state_.priorities[number] = priority & priority_bits; }
    std::uint32_t grouping() const { return state_.priority_grouping; }
    void set_grouping(std::uint32_t grouping) { state_.priority_grouping = grouping & 7U; }

    /// What has to be beaten at the moment.
    int execution_priority(const PriorityMasks& masks) const;
    /// Whether an exception would be taken now if it were pending.
    bool can_preempt(unsigned number, const PriorityMasks& masks) const;
    /// The pending and enabled exception with the highest priority, for the CPU or for ICSR. With `debugger_masks` only
    /// those that a debugger cannot hold back.
    std::optional<unsigned> first_pending(bool debugger_masks = false) const;
    /// That one, if it would be taken now.
    std::optional<unsigned> next(const PriorityMasks& masks, bool debugger_masks = false) const;

private:
    static bool has(const ExceptionBits& bits, unsigned number) { return (bits[number / 32] >> number % 32 & 1U) != 0; }
    static void put(ExceptionBits& bits, unsigned number, bool value);
    int group_priority(int priority) const;

    ExceptionState& state_;
};

} // namespace jlinksim
