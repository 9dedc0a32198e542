#include "sim/chip/core.h"

#include "sim/chip/register_selector.h"
#include "sim/time/timing.h"

#include <algorithm>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t reset_vectors = 0; // where VTOR points after a reset

} // namespace

Core::Core(Bus& bus, ProcessorState& kept, const Words& words, Records& records, Connections connections)
    : bus_(bus),
      kept_(kept),
      records_(records),
      connections_(std::move(connections)),
      debug_(words.debug, records,
             {.state = [this] { return state(); },
              .go = [this] { go(); },
              .halt = [this] { halt(); },
              .step = [this](bool masks_interrupts) { step(masks_interrupts); },
              .read_cpu_register = [this](unsigned selector) { return read_selected(cpu(), selector); },
              .write_cpu_register = [this](unsigned selector,
                                           std::uint32_t value) { write_selected_register(selector, value); }}),
      exceptions_(kept.exceptions),
      control_(exceptions_, words.control, records,
               {.request_reset = [this] { request_reset(); }, .clear_active = [this] { clear_active(); }}),
      timer_(exceptions_, words.timer, records),
      nvic_(exceptions_, words.nvic, records),
      fpb_(words.fpb, records),
      dwt_(words.dwt, records)
{
}

/// Where windows overlap the first one wins: what has no device of its own is this one's, as reserved.
void Core::attach_to(Bus& bus)
{
    bus.attach(base + SysTick::window_begin, SysTick::window_bytes, timer_, SysTick::window_begin);
    bus.attach(base + Nvic::window_begin, Nvic::window_bytes, nvic_, Nvic::window_begin);
    bus.attach(base + Nvic::trigger_offset, 4, nvic_, Nvic::trigger_offset);
    bus.attach(base + SystemControl::window_begin, SystemControl::window_bytes, control_, SystemControl::window_begin);
    bus.attach(base + SystemControl::float_begin, SystemControl::float_bytes, control_, SystemControl::float_begin);
    bus.attach(base, bytes, debug_);
    bus.attach(Fpb::base, Fpb::bytes, fpb_);
    bus.attach(Dwt::base, Dwt::bytes, dwt_);
}

RunState Core::state() const
{
    const bool sleeps = debug_.state() == RunState::running && kept_.sleep != Sleep::none;
    return sleeps ? RunState::sleeping : debug_.state();
}

Processor& Core::processor()
{
    if (!processor_) {
        processor_.emplace(
            Processor::Parts{bus_, exceptions_, control_, kept_, records_},
            Processor::Surroundings{.pass = [this](std::uint64_t cycles) { pass(cycles); },
                                    .cycles_to_event = [this] { return cycles_to_event(); },
                                    .peripheral_written = connections_.peripheral_written,
                                    .watchpoint_met = [this](unsigned comparator) { dwt_.note_match(comparator); }});
    }
    if (std::exchange(memories_are_stale_, false)) {
        processor_->cpu().set_memories(connections_.memories());
    }
    return *processor_;
}

/// To execute: with what stops it for a debugger who is there.
Processor& Core::ready()
{
    cpu().set_stops(debug_.is_enabled() ? stops() : CpuStops{});
    return processor();
}

CpuStops Core::stops() const
{
    return {.breakpoints = fpb_.breakpoints(),
            .watchpoints = debug_.is_trace_enabled() ? dwt_.watchpoints() : std::vector<Watchpoint>{}};
}

void Core::keep_registers()
{
    kept_.registers = cpu().save();
}

void Core::halt()
{
    if (!is_halted()) {
        control_.note_debug_event(debug_event::request);
    }
    kept_.sleep = Sleep::none;
    end_stall();
    debug_.set_state(RunState::halted);
}

/// An access that a halt or a reset ends waits for nothing any more.
void Core::end_stall()
{
    if (processor_) {
        processor_->end_stall();
    }
}

void Core::halt_at_reset()
{
    cpu().write_register(cpu_register::pc, bus_.peek_word(reset_vectors + 4) & ~1U);
    keep_registers();
    control_.note_debug_event(debug_event::vector_catch);
    debug_.set_state(RunState::halted);
}

void Core::go()
{
    if (is_halted()) {
        debug_.set_state(debug_.is_stuck() ? RunState::locked_up : RunState::running);
    }
}

void Core::step(bool masks_interrupts)
{
    if (!debug_.is_stuck()) {
        Processor::DebugRequests requests = debug_.requests();
        requests.masks_interrupts = masks_interrupts;
        ended(ready().step(requests));
        kept_.sleep = Sleep::none;
    }
    debug_.set_state(RunState::halted);
}

std::uint32_t Core::read_cpu_register(unsigned index)
{
    // What is kept needs no engine, but for the stack pointer in use, which depends on more than one register.
    const bool is_kept = !processor_ && index != cpu_register::sp;
    return is_kept ? kept_.registers[index] : cpu().read_register(index);
}

void Core::write_cpu_register(unsigned index, std::uint32_t value)
{
    // The exception number follows the handlers, and is not for the host to write.
    const std::uint32_t kept = index == cpu_register::xpsr ? kept_.registers[index] & cpu_register::xpsr_exception : 0;
    const std::uint32_t own = index == cpu_register::xpsr ? value & ~cpu_register::xpsr_exception : value;
    cpu().write_register(index, own | kept);
    keep_registers();
    if (index == cpu_register::pc) {
        debug_.set_stuck(false); // there may be something to execute
    }
}

void Core::write_selected_register(unsigned selector, std::uint32_t value)
{
    if (selector < cpu_register_count) {
        write_cpu_register(selector, value);
        return;
    }
    write_selected(cpu(), selector, value);
    keep_registers();
}

FaultStatus Core::first_fetch(std::uint32_t handler)
{
    constexpr std::uint32_t thumb_bit = 1;
    constexpr std::uint32_t last_code_address = 0x3FFFFFFF; // code and RAM regions of the address map
    if ((handler & thumb_bit) == 0) {
        return {fault_bit::no_thumb_state};
    }
    std::uint8_t instruction[2];
    const bool is_there = handler <= last_code_address && bus_.peek(handler - thumb_bit, instruction);
    return is_there ? FaultStatus{} : FaultStatus::of_fetch(handler - thumb_bit);
}

void Core::reset(ResetKind kind)
{
    for (BusDevice* const part : std::initializer_list<BusDevice*>{&debug_, &control_, &timer_, &nvic_, &fpb_, &dwt_}) {
        part->reset(kind);
    }
    exceptions_.reset();
    end_stall();
    kept_.sleep = Sleep::none;
    kept_.event = 0;
    const std::uint32_t handler = bus_.peek_word(reset_vectors + 4);
    cpu().reset(bus_.peek_word(reset_vectors), handler);
    unspent_ = 0;
    if (debug_.catches_reset()) {
        debug_.set_state(RunState::halted);
    } else if (const FaultStatus fetch = first_fetch(handler); fetch.bits != 0) {
        // A chip without a program: it does nothing, and there is nothing to tell anybody about.
        cpu().write_register(cpu_register::pc, lock_up_address);
        control_.note_fault(fetch);
        control_.note_hard_fault(hard_fault_bit::forced);
        lock_up();
    } else {
        debug_.set_state(RunState::running);
    }
    keep_registers();
}

void Core::elapse(std::uint64_t nanoseconds)
{
    const bool lives = state() == RunState::running || state() == RunState::sleeping;
    if (!lives || held_) {
        unspent_ = 0;
        return;
    }
    constexpr std::uint64_t second = 1'000'000'000;
    unspent_ += nanoseconds % second * timing::cpu_hertz;
    const std::uint64_t cycles = nanoseconds / second * timing::cpu_hertz + unspent_ / second;
    unspent_ %= second;
    if (cycles != 0) {
        ended(ready().run({.cycles = cycles, .instructions = timing::most_instructions_per_call}, debug_.requests()));
    }
}

void Core::ended(Processor::Ending how)
{
    switch (how) {
    case Processor::Ending::allowance_spent:
        return;
    case Processor::Ending::debug_event:
        debug_.set_state(RunState::halted);
        return;
    case Processor::Ending::locked_up:
        lock_up();
        return;
    }
}

void Core::lock_up()
{
    debug_.set_stuck(true);
    debug_.set_state(RunState::locked_up);
}

std::uint32_t Core::program_counter() const
{
    return is_executing() ? processor_->place() : kept_.registers[cpu_register::pc];
}

void Core::stall(std::uint64_t nanoseconds, bool is_interruptible)
{
    constexpr std::uint64_t second = 1'000'000'000;
    processor().stall((nanoseconds * timing::cpu_hertz + second - 1) / second, is_interruptible);
}

void Core::code_changed(std::uint32_t address, std::uint32_t length)
{
    if (processor_) {
        processor_->cpu().code_changed(address, length);
    }
}

void Core::memories_changed()
{
    memories_are_stale_ = true;
    if (processor_ && processor_->is_running()) {
        processor();
    }
}

/// While the CPU executes or sleeps.
void Core::pass(std::uint64_t cycles)
{
    constexpr std::uint64_t second = 1'000'000'000;
    timer_.advance(cycles);
    if (debug_.is_trace_enabled()) {
        dwt_.advance(cycles);
    }
    unlived_ += cycles % timing::cpu_hertz * second;
    connections_.live(cycles / timing::cpu_hertz * second + unlived_ / timing::cpu_hertz);
    unlived_ %= timing::cpu_hertz;
}

std::uint64_t Core::cycles_to_event()
{
    constexpr std::uint64_t second = 1'000'000'000;
    const std::uint64_t nanoseconds = connections_.time_to_event();
    // Rounded up, and far from an overflow: within a second, or look again then.
    const std::uint64_t cycles = (std::min(nanoseconds, second) * timing::cpu_hertz + second - 1) / second;
    return std::min(timer_.cycles_to_end(), std::max<std::uint64_t>(cycles, 1));
}

void Core::request_reset()
{
    connections_.request_reset();
    if (processor_) {
        processor_->end_run(); // firmware resets its chip
    }
}

/// For a debugger that starts another program in place of the one that was being interrupted.
void Core::clear_active()
{
    if (!is_halted()) {
        return;
    }
    exceptions_.forget_active();
    cpu().write_register(cpu_register::xpsr, cpu().read_register(cpu_register::xpsr) & ~cpu_register::xpsr_exception);
    keep_registers();
}

} // namespace jlinksim
