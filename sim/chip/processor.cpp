#include "sim/chip/processor.h"

#include <algorithm>
#include <utility>

namespace jlinksim {
namespace {

namespace reg = cpu_register;

} // namespace

Processor::Processor(Parts parts, Surroundings surroundings)
    : parts_{parts}, surroundings_{std::move(surroundings)}, cpu_{make_cpu(*this)}, frame_{*cpu_, parts_.bus}
{
    cpu_->restore(parts_.kept.registers);
}

void Processor::begin(Allowance allowance, const DebugRequests& debug)
{
    debug_ = debug;
    left_ = allowance;
    running_ = true;
    asked_to_end_ = false;
    ending_.reset();
}

Processor::Ending Processor::end()
{
    running_ = false;
    parts_.kept.registers = cpu_->save();
    return ending_.value_or(Ending::allowance_spent);
}

Processor::Ending Processor::run(Allowance allowance, const DebugRequests& debug)
{
    begin(allowance, debug);
    while (!ending_ && !asked_to_end_ && left_.cycles != 0 && left_.instructions != 0) {
        advance();
    }
    return end();
}

Processor::Ending Processor::step(const DebugRequests& debug)
{
    begin({.cycles = 1, .instructions = 1}, debug);
    parts_.kept.sleep = Sleep::none;
    stalled_ = 0;
    advance();
    return end();
}

void Processor::end_run()
{
    asked_to_end_ = true;
    look_again();
}

void Processor::look_again()
{
    if (executing_) {
        cpu_->end_run();
    }
}

/// What an instruction accesses has lived until this moment.
bool Processor::cpu_read(std::uint32_t address, unsigned width, std::uint32_t& value)
{
    catch_up();
    return parts_.bus.cpu_read(address, width, value);
}

bool Processor::cpu_write(std::uint32_t address, unsigned width, std::uint32_t value)
{
    constexpr std::uint32_t peripherals = 0x40000000;
    catch_up();
    const bool ok = parts_.bus.cpu_write(address, width, value);
    if (address >= peripherals) {
        surroundings_.peripheral_written();
        look_again();
    }
    return ok;
}

/// The instruction that is being executed is not over yet.
void Processor::catch_up()
{
    if (executing_ && cpu_->begun() > passed_ + 1) {
        const std::uint64_t cycles = cpu_->begun() - 1 - passed_;
        passed_ += cycles;
        pass(cycles);
    }
}

void Processor::stall(std::uint64_t cycles, bool is_interruptible)
{
    stalled_ += cycles;
    stall_is_interruptible_ = is_interruptible;
    look_again();
}

bool Processor::is_stalled() const
{
    return stalled_ != 0 && !(stall_is_interruptible_ && waiting_exception());
}

void Processor::wait_for_bus()
{
    const std::uint64_t cycles = std::min({stalled_, left_.cycles, surroundings_.cycles_to_event()});
    stalled_ -= cycles;
    pass(cycles);
}

void Processor::advance()
{
    if (!cpu_->executes()) {
        pass(left_.cycles);
        return;
    }
    if (is_stalled()) {
        wait_for_bus();
        return;
    }
    stalled_ = 0;
    if (parts_.kept.sleep != Sleep::none && !wakes()) {
        doze();
        return;
    }
    if (const std::optional<unsigned> exception = waiting_exception()) {
        enter(*exception);
        return;
    }
    execute(std::min({left_.cycles, left_.instructions, surroundings_.cycles_to_event()}));
}

void Processor::execute(std::uint64_t limit)
{
    passed_ = 0;
    executing_ = true;
    cpu_->set_traps(traps());
    const RunResult result = cpu_->run(limit);
    executing_ = false;
    pass(result.instructions - passed_);
    left_.instructions -= result.instructions;
    handle(result);
}

/// An instruction takes a cycle.
void Processor::pass(std::uint64_t cycles)
{
    surroundings_.pass(cycles);
    left_.cycles -= cycles;
}

void Processor::doze()
{
    pass(std::min(left_.cycles, surroundings_.cycles_to_event()));
}

bool Processor::wakes()
{
    PriorityMasks masks = this->masks();
    bool wakes = false;
    if (parts_.kept.sleep == Sleep::until_interrupt) {
        masks.primask = 0; // it wakes all the same, and goes on behind the WFI
    } else {
        wakes = std::exchange(parts_.kept.event, 0) != 0 ||
                (parts_.control.pending_is_event() && parts_.exceptions.has_pending_interrupt());
    }
    wakes = wakes || parts_.exceptions.next(masks, debug_.masks_interrupts).has_value();
    if (wakes) {
        parts_.kept.sleep = Sleep::none;
    }
    return wakes;
}

void Processor::sleep_until(Sleep what)
{
    parts_.kept.sleep = what;
}

void Processor::handle(const RunResult& result)
{
    switch (result.why) {
    case StopReason::budget_spent:
    case StopReason::run_ended:
    case StopReason::masks_written:
        return;
    case StopReason::wait_for_interrupt:
        sleep_until(Sleep::until_interrupt);
        return;
    case StopReason::wait_for_event:
        sleep_until(Sleep::until_event); // which an event that came before ends at once
        return;
    case StopReason::event_sent:
        parts_.kept.event = 1;
        return;
    case StopReason::supervisor_call:
        raise(exception::supervisor_call);
        return;
    case StopReason::exception_return:
        leave();
        return;
    case StopReason::floating_point:
        use_floating_point();
        return;
    case StopReason::breakpoint:
        meet_breakpoint();
        return;
    case StopReason::hardware_breakpoint:
        halt_for_debugger(debug_event::breakpoint);
        return;
    case StopReason::watchpoint:
        surroundings_.watchpoint_met(result.comparator);
        halt_for_debugger(debug_event::watchpoint);
        return;
    case StopReason::fault:
        fault(result.status, result.fault);
        return;
    }
}

PriorityMasks Processor::masks() const
{
    return {.primask = cpu_->read_register(reg::primask),
            .basepri = cpu_->read_register(reg::basepri),
            .faultmask = cpu_->read_register(reg::faultmask)};
}

std::optional<unsigned> Processor::waiting_exception() const
{
    if (!parts_.exceptions.first_pending(debug_.masks_interrupts)) {
        return std::nullopt; // without a look at the registers
    }
    return parts_.exceptions.next(masks(), debug_.masks_interrupts);
}

bool Processor::is_privileged() const
{
    return parts_.exceptions.current() != 0 || (cpu_->read_register(reg::control) & reg::control_unprivileged) == 0;
}

CpuTraps Processor::traps() const
{
    return {.mask_writes = parts_.exceptions.first_pending().has_value(),
            .floating_point = !parts_.control.is_floating_point_on(is_privileged()) || parts_.control.unsaved_singles(),
            .division_by_zero = parts_.control.traps_division_by_zero(),
            .unaligned = parts_.control.traps_unaligned()};
}

void Processor::halt_for_debugger(std::uint32_t event)
{
    parts_.control.note_debug_event(event);
    ending_ = Ending::debug_event;
}

} // namespace jlinksim
