// What the processor does at the begin and the end of a handler, and which handler gets a fault.
#include "sim/chip/processor.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/core.h>

namespace jlinksim {
namespace {

namespace reg = cpu_register;

/// Bits of DEMCR that halt where a handler begins, by the cause in CFSR; those of usage faults differ by it.
struct Catch
{
    unsigned exception;
    std::uint32_t causes; ///< bits of CFSR
    std::uint32_t bit;
};
constexpr std::uint32_t stack_refused =
    fault_bit::stacking_refused | fault_bit::unstacking_refused | fault_bit::lazy_saving_refused;
constexpr std::array catches{
    Catch{exception::hard_fault, ~0U, 1U << 10},
    Catch{exception::hard_fault, stack_refused, 1U << 9},
    Catch{exception::bus_fault, stack_refused, 1U << 9},
    Catch{exception::bus_fault, ~0U, 1U << 8},
    Catch{exception::memory_management, ~0U, 1U << 4},
    Catch{exception::usage_fault,
          fault_bit::undefined_instruction | fault_bit::no_thumb_state | fault_bit::invalid_return, 1U << 7},
    Catch{exception::usage_fault, fault_bit::unaligned | fault_bit::division_by_zero, 1U << 6},
    Catch{exception::usage_fault, fault_bit::no_coprocessor, 1U << 5},
};

constexpr unsigned exception_of(FaultStatus status)
{
    if ((status.bits & 0xFFU) != 0) {
        return exception::memory_management;
    }
    return (status.bits & 0xFF00U) != 0 ? exception::bus_fault : exception::usage_fault;
}

} // namespace

/// Stack what is interrupted, and begin the handler.
void Processor::enter(unsigned number)
{
    const ExceptionReturn how = ExceptionReturn::to_now(*cpu_);
    const std::optional<std::uint32_t> frame = frame_.push(parts_.control.frame_layout());
    if (!frame) {
        // Without a frame there is nothing to go back to; the handler that is told of it comes first, if it can.
        const bool is_last_resort = parts_.exceptions.priority(number) <= Exceptions::hard_fault_priority;
        parts_.control.note_fault({fault_bit::stacking_refused});
        const std::optional<unsigned> other =
            is_last_resort ? std::nullopt
                           : handler_of({fault_bit::stacking_refused}, "stacking for an exception failed");
        if (!other) {
            lock_up();
            return;
        }
        parts_.exceptions.pend(number);
        take(*other, how);
        return;
    }
    if (how.is_extended() && parts_.control.saves_singles_lazily()) {
        parts_.control.set_unsaved_singles(*frame + StackedFrame::singles_offset);
    }
    take(number, how);
}

/// Begin a handler, with everything on the stack already.
void Processor::take(unsigned number, ExceptionReturn how)
{
    std::array<std::uint8_t, 4> bytes{};
    if (!parts_.bus.peek(parts_.control.vector_table() + 4 * number, bytes)) {
        parts_.control.note_hard_fault(hard_fault_bit::vector_table);
        if (number == exception::hard_fault) {
            lock_up();
        } else {
            take(exception::hard_fault, how);
        }
        return;
    }
    std::uint32_t vector = 0;
    std::memcpy(&vector, bytes.data(), sizeof vector);

    constexpr std::uint32_t flags = 0xF80F0000;
    const std::uint32_t thumb = (vector & 1U) != 0 ? reg::xpsr_thumb : 0;
    parts_.exceptions.enter(number);
    parts_.kept.event = 1;
    parts_.kept.sleep = Sleep::none;
    cpu_->write_register(reg::xpsr, (cpu_->read_register(reg::xpsr) & flags) | thumb | number);
    cpu_->write_register(reg::control, cpu_->read_register(reg::control) & reg::control_unprivileged);
    cpu_->write_register(reg::lr, how.value());
    cpu_->write_register(reg::pc, vector & ~1U);
    if (is_caught(number)) {
        halt_for_debugger(debug_event::vector_catch);
    }
}

bool Processor::is_caught(unsigned number) const
{
    return debug_.attached && std::ranges::any_of(catches, [&](const Catch& row) {
               const bool is_cause = row.causes == ~0U || (row.causes & parts_.control.faults()) != 0;
               return row.exception == number && is_cause && (row.bit & debug_.catches) != 0;
           });
}

/// The end of a handler: on to the next one that waits, or back to what was interrupted.
void Processor::leave()
{
    const bool thumb = (cpu_->read_register(reg::xpsr) & reg::xpsr_thumb) != 0;
    const ExceptionReturn how{cpu_->read_register(reg::pc) | (thumb ? 1U : 0U)};
    const bool is_valid = this->is_valid(how);
    if (parts_.exceptions.current() != exception::nmi) {
        cpu_->write_register(reg::faultmask, 0);
    }
    parts_.exceptions.leave();
    if (!is_valid) {
        chain_fault({fault_bit::invalid_return}, "a return from an exception is not valid", how);
        return;
    }
    if (const std::optional<unsigned> next = waiting_exception()) {
        take(*next, how);
        return;
    }
    FrameLayout layout = parts_.control.frame_layout();
    const bool are_singles_in_place = parts_.control.unsaved_singles().has_value();
    layout.saves_singles = !are_singles_in_place;
    if (!frame_.pop(how, layout)) {
        chain_fault({fault_bit::unstacking_refused}, "unstacking at an exception's end failed", how);
        return;
    }
    if (how.is_extended()) {
        parts_.control.singles_are_saved();
    }
    parts_.exceptions.set_current(cpu_->read_register(reg::xpsr) & reg::xpsr_exception);
    parts_.kept.event = 1;
    if (how.is_to_thread() && parts_.control.sleeps_on_exit()) {
        sleep_until(Sleep::until_interrupt);
    }
}

/// Whether the handler may end this way, and the frame leads where EXC_RETURN says.
bool Processor::is_valid(ExceptionReturn how)
{
    const bool is_nested = parts_.exceptions.active_count() > 1;
    if (!how.is_known() || !parts_.exceptions.is_active(parts_.exceptions.current())) {
        return false;
    }
    if (how.is_to_thread() ? is_nested && !parts_.control.may_return_to_thread_from_nested() : !is_nested) {
        return false;
    }
    const std::optional<std::uint32_t> status = frame_.stacked_status(how);
    return !status || how.is_to_thread() == ((*status & reg::xpsr_exception) == 0);
}

void Processor::raise(unsigned number)
{
    if (parts_.exceptions.can_preempt(number, masks())) {
        enter(number);
    } else if (const auto handler = escalate(hard_fault_bit::forced, "SVC where it cannot be taken")) {
        enter(*handler);
    }
}

void Processor::fault(FaultStatus status, const std::string& what)
{
    parts_.control.note_fault(status);
    if (const std::optional<unsigned> handler = handler_of(status, what)) {
        enter(*handler);
    }
}

/// At the end of a handler, whose frame stays where it is.
void Processor::chain_fault(FaultStatus status, const char* what, ExceptionReturn how)
{
    parts_.control.note_fault(status);
    if (const std::optional<unsigned> handler = handler_of(status, what)) {
        take(*handler, how);
    }
}

/// Which handler gets a fault; nothing when it locked the CPU up.
std::optional<unsigned> Processor::handler_of(FaultStatus status, const std::string& what)
{
    const unsigned number = exception_of(status);
    return parts_.exceptions.can_preempt(number, masks()) ? std::optional{number}
                                                          : escalate(hard_fault_bit::forced, what);
}

std::optional<unsigned> Processor::escalate(std::uint32_t reason, const std::string& what)
{
    if (!parts_.exceptions.can_preempt(exception::hard_fault, masks())) {
        parts_.records.add("cpu-fault", what + "; the CPU locks up");
        lock_up();
        return std::nullopt;
    }
    parts_.records.add("cpu-fault", what);
    parts_.control.note_hard_fault(reason);
    return exception::hard_fault;
}

void Processor::lock_up()
{
    cpu_->write_register(reg::pc, lock_up_address);
    ending_ = Ending::locked_up;
}

/// An instruction of the floating point unit that is off, or whose registers still belong to an interrupted program.
void Processor::use_floating_point()
{
    if (!parts_.control.is_floating_point_on(is_privileged())) {
        fault({fault_bit::no_coprocessor},
              fmt::format("floating point instruction at 0x{:08X} with the unit off", cpu_->read_register(reg::pc)));
        return;
    }
    if (!frame_.save_singles(parts_.control.unsaved_singles().value_or(0))) {
        parts_.control.singles_are_saved();
        fault({fault_bit::lazy_saving_refused}, "saving an interrupted program's floating point registers failed");
        return;
    }
    parts_.control.singles_are_saved();
    if (left_.instructions != 0) {
        execute(1);
    }
}

void Processor::meet_breakpoint()
{
    if (debug_.attached) {
        halt_for_debugger(debug_event::breakpoint);
        return;
    }
    const std::uint32_t pc = cpu_->read_register(reg::pc);
    const std::string what = fmt::format("breakpoint at 0x{:08X} without a debugger", pc);
    if (const auto handler = escalate(hard_fault_bit::debug_event, what)) {
        enter(*handler);
    }
}

} // namespace jlinksim
