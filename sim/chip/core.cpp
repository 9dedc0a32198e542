#include "sim/chip/core.h"

#include "sim/chip/register_selector.h"
#include "sim/time/timing.h"

#include <algorithm>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t debug_control = 0xDF0;     // DHCSR
constexpr std::uint32_t register_data = 0xDF8;     // DCRDR
constexpr std::uint32_t exception_monitor = 0xDFC; // DEMCR
constexpr std::uint32_t run_state_flag = 0x10000;  // beyond every address: the hardware's own
constexpr std::uint32_t lock_up_flag = 0x10004;    // it goes on locked up when it was halted
constexpr std::uint32_t reset_flag = 0x10008;      // it was reset since somebody looked

constexpr std::uint32_t debug_key = 0xA05F;
constexpr std::uint32_t debug_enable = 1U << 0;
constexpr std::uint32_t debug_halt = 1U << 1;
constexpr std::uint32_t debug_step = 1U << 2;
constexpr std::uint32_t debug_mask_interrupts = 1U << 3;
constexpr std::uint32_t status_register_ready = 1U << 16;
constexpr std::uint32_t status_halted = 1U << 17;
constexpr std::uint32_t status_sleeping = 1U << 18;
constexpr std::uint32_t status_locked_up = 1U << 19;

constexpr std::uint32_t status_was_reset = 1U << 25;

constexpr std::uint32_t catch_core_reset = 1U << 0;
constexpr std::uint32_t trace_enable = 1U << 24;
constexpr std::uint32_t register_transfer_write = 1U << 16;

constexpr unsigned program_counter = 15;
constexpr std::uint32_t reset_vectors = 0; // where VTOR points after a reset

} // namespace

struct CoreTable
{
    static constexpr std::array rows{
        // clang-format off
        Register<Core>{.name = "DHCSR", .offset = debug_control, .on_write = &Core::write_debug_control,
                       .on_read = &Core::read_debug_control, .retained = true},
        Register<Core>{.name = "DCRSR", .offset = 0xDF4, .on_write = &Core::transfer_register},
        Register<Core>{.name = "DCRDR", .offset = register_data, .writable = ~0U, .retained = true},
        Register<Core>{.name = "DEMCR", .offset = exception_monitor, .writable = 0x010F07F1, .retained = true},
        Register<Core>{.name = "(run state)", .offset = run_state_flag, .retained = true},
        Register<Core>{.name = "(lock-up)", .offset = lock_up_flag},
        Register<Core>{.name = "(reset)", .offset = reset_flag, .reset = status_was_reset},
        // clang-format on
    };
};

const std::span<const Register<Core>> Core::table{CoreTable::rows};

Core::Core(Bus& bus, ProcessorState& kept, const Words& words, Records& records, Connections connections)
    : RegisterBlock("SCS", table, words.core, records),
      bus_(bus),
      kept_(kept),
      connections_(std::move(connections)),
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
    bus.attach(base, bytes, *this);
    bus.attach(Fpb::base, Fpb::bytes, fpb_);
    bus.attach(Dwt::base, Dwt::bytes, dwt_);
}

RunState Core::state() const
{
    const auto state = static_cast<RunState>(word(run_state_flag));
    return state == RunState::running && kept_.sleep != Sleep::none ? RunState::sleeping : state;
}

void Core::set_state(RunState state)
{
    word(run_state_flag) = static_cast<std::uint32_t>(state);
}

bool Core::is_debug_enabled() const
{
    return (word(debug_control) & debug_enable) != 0;
}

void Core::enable_debug()
{
    word(debug_control) |= debug_enable;
}

Processor& Core::processor()
{
    if (!processor_) {
        processor_.emplace(
            Processor::Parts{bus_, exceptions_, control_, kept_, records()},
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
    cpu().set_stops(is_debug_enabled() ? stops() : CpuStops{});
    return processor();
}

CpuStops Core::stops() const
{
    return {.breakpoints = fpb_.breakpoints(),
            .watchpoints = is_trace_enabled() ? dwt_.watchpoints() : std::vector<Watchpoint>{}};
}

/// TRCENA: without it the watchpoint unit is off.
bool Core::is_trace_enabled() const
{
    return (word(exception_monitor) & trace_enable) != 0;
}

void Core::keep_registers()
{
    kept_.registers = cpu().save();
}

Processor::DebugRequests Core::debug_requests() const
{
    return {.attached = is_debug_enabled(),
            .masks_interrupts = (word(debug_control) & debug_mask_interrupts) != 0,
            .catches = word(exception_monitor)};
}

void Core::halt()
{
    if (!is_halted()) {
        control_.note_debug_event(debug_event::request);
    }
    kept_.sleep = Sleep::none;
    set_state(RunState::halted);
}

void Core::halt_at_reset()
{
    cpu().write_register(program_counter, bus_.peek_word(reset_vectors + 4) & ~1U);
    keep_registers();
    control_.note_debug_event(debug_event::vector_catch);
    set_state(RunState::halted);
}

void Core::go()
{
    if (is_halted()) {
        set_state(word(lock_up_flag) != 0 ? RunState::locked_up : RunState::running);
    }
}

void Core::step(bool masks_interrupts)
{
    if (word(lock_up_flag) == 0) {
        Processor::DebugRequests requests = debug_requests();
        requests.masks_interrupts = masks_interrupts;
        ended(ready().step(requests));
        kept_.sleep = Sleep::none;
    }
    set_state(RunState::halted);
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
    if (index == program_counter) {
        word(lock_up_flag) = 0; // there may be something to execute
    }
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
    for (BusDevice* const part : std::initializer_list<BusDevice*>{&control_, &timer_, &nvic_, &fpb_, &dwt_}) {
        part->reset(kind);
    }
    RegisterBlock::reset(kind);
    exceptions_.reset();
    kept_.sleep = Sleep::none;
    kept_.event = 0;
    const std::uint32_t handler = bus_.peek_word(reset_vectors + 4);
    cpu().reset(bus_.peek_word(reset_vectors), handler);
    unspent_ = 0;
    if (is_debug_enabled() && (word(exception_monitor) & catch_core_reset) != 0) {
        set_state(RunState::halted);
    } else if (const FaultStatus fetch = first_fetch(handler); fetch.bits != 0) {
        // A chip without a program: it does nothing, and there is nothing to tell anybody about.
        cpu().write_register(program_counter, lock_up_address);
        control_.note_fault(fetch);
        control_.note_hard_fault(hard_fault_bit::forced);
        lock_up();
    } else {
        set_state(RunState::running);
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
        ended(ready().run({.cycles = cycles, .instructions = timing::most_instructions_per_call}, debug_requests()));
    }
}

void Core::ended(Processor::Ending how)
{
    switch (how) {
    case Processor::Ending::allowance_spent:
        return;
    case Processor::Ending::debug_event:
        set_state(RunState::halted);
        return;
    case Processor::Ending::locked_up:
        lock_up();
        return;
    }
}

void Core::lock_up()
{
    word(lock_up_flag) = 1;
    set_state(RunState::locked_up);
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
    if (is_trace_enabled()) {
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

std::uint32_t Core::read_debug_control(unsigned /*index*/)
{
    constexpr std::array status{0U, status_halted | debug_halt, status_sleeping, status_locked_up};
    return word(debug_control) | status_register_ready | std::exchange(word(reset_flag), 0) |
           status.at(static_cast<std::size_t>(state()));
}

void Core::write_debug_control(std::uint32_t value, unsigned /*index*/)
{
    if (value >> 16 != debug_key) {
        records().add("register-key", fmt::format("DHCSR = 0x{:08X} without its key", value));
        return;
    }
    word(debug_control) = value & (debug_enable | debug_mask_interrupts);
    if ((value & debug_enable) == 0 || (value & (debug_halt | debug_step)) == 0) {
        go();
    } else if ((value & debug_halt) != 0) {
        halt();
    } else if (is_halted()) {
        step((value & debug_mask_interrupts) != 0);
    }
}

void Core::transfer_register(std::uint32_t value, unsigned /*index*/)
{
    const unsigned selector = value & 0x7F;
    const bool writes = (value & register_transfer_write) != 0;
    if (!is_halted() || !is_selector(selector)) {
        records().add("cpu-register", fmt::format("DCRSR = 0x{:08X} {}", value, is_halted() ? "" : "while running"));
        return;
    }
    if (selector < cpu_register_count && writes) {
        write_cpu_register(selector, word(register_data));
    } else if (writes) {
        write_selected(cpu(), selector, word(register_data));
        keep_registers();
    } else {
        word(register_data) = read_selected(cpu(), selector);
    }
}

} // namespace jlinksim
