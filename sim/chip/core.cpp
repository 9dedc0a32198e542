#include "sim/chip/core.h"

#include "sim/time/timing.h"

#include <algorithm>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t fault_status = 0xD28;       // CFSR
constexpr std::uint32_t hard_fault_status = 0xD2C;  // HFSR
constexpr std::uint32_t debug_fault_status = 0xD30; // DFSR
constexpr std::uint32_t bus_fault_address = 0xD38;  // BFAR
constexpr std::uint32_t debug_control = 0xDF0;      // DHCSR
constexpr std::uint32_t register_data = 0xDF8;      // DCRDR
constexpr std::uint32_t exception_monitor = 0xDFC;  // DEMCR
constexpr std::uint32_t run_state_flag = 0x10000;   // beyond every address: the hardware's own
constexpr std::uint32_t lock_up_flag = 0x10004;     // it goes on locked up when it was halted

constexpr std::uint32_t debug_key = 0xA05F;
constexpr std::uint32_t debug_enable = 1U << 0;
constexpr std::uint32_t debug_halt = 1U << 1;
constexpr std::uint32_t debug_step = 1U << 2;
constexpr std::uint32_t debug_mask_interrupts = 1U << 3;
constexpr std::uint32_t status_register_ready = 1U << 16;
constexpr std::uint32_t status_halted = 1U << 17;
constexpr std::uint32_t status_sleeping = 1U << 18;
constexpr std::uint32_t status_locked_up = 1U << 19;

constexpr std::uint32_t hard_fault_forced = 1U << 30;
constexpr std::uint32_t hard_fault_by_breakpoint = 1U << 31;
constexpr std::uint32_t stopped_by_request = 1U << 0; // bits of DFSR
constexpr std::uint32_t stopped_by_breakpoint = 1U << 1;
constexpr std::uint32_t stopped_by_vector_catch = 1U << 3;

constexpr std::uint32_t catch_core_reset = 1U << 0;
constexpr std::uint32_t reset_key = 0x05FA;
constexpr std::uint32_t reset_request = 1U << 2;
constexpr std::uint32_t register_transfer_write = 1U << 16;

constexpr std::uint32_t lock_up_address = 0xFFFFFFFE;
constexpr unsigned program_counter = 15;
constexpr std::uint32_t reset_vectors = 0; // where VTOR points after a reset

} // namespace

struct CoreTable
{
    static constexpr std::array rows{
        // clang-format off
        //             name     offset         reset       writable    on write                     on read
        Register<Core>{"CPUID", 0xD00,         0x410FC241, 0},
        Register<Core>{.name = "ICSR", .offset = 0xD04, .on_read = &Core::read_interrupt_control},
        Register<Core>{"VTOR",  0xD08,         0,          0xFFFFFF80},
        Register<Core>{"AIRCR", 0xD0C,         0xFA050000, 0,          &Core::write_reset_control},
        Register<Core>{"SCR",   0xD10,         0,          0x16},
        Register<Core>{"CCR",   0xD14,         0x200,      0x31B},
        Register<Core>{.name = "CFSR",  .offset = fault_status, .writable = 0x030FBFBB, .effect = WriteEffect::clear_ones},
        Register<Core>{.name = "HFSR",  .offset = hard_fault_status, .writable = 0xC0000002, .effect = WriteEffect::clear_ones},
        Register<Core>{.name = "DFSR",  .offset = debug_fault_status, .writable = 0x1F, .effect = WriteEffect::clear_ones,
                       .retained = true},
        Register<Core>{"MMFAR", 0xD34,         0,          ~0U},
        Register<Core>{"BFAR",  bus_fault_address, 0,      ~0U},
        Register<Core>{.name = "CPACR", .offset = 0xD88, .writable = 0x00F00000},
        Register<Core>{.name = "DHCSR", .offset = debug_control, .on_write = &Core::write_debug_control,
                       .on_read = &Core::read_debug_control, .retained = true},
        Register<Core>{.name = "DCRSR", .offset = 0xDF4, .on_write = &Core::transfer_register},
        Register<Core>{.name = "DCRDR", .offset = register_data, .writable = ~0U, .retained = true},
        Register<Core>{.name = "DEMCR", .offset = exception_monitor, .writable = 0x010F07F1, .retained = true},
        Register<Core>{.name = "(run state)", .offset = run_state_flag, .retained = true},
        Register<Core>{.name = "(lock-up)", .offset = lock_up_flag},
        // clang-format on
    };
};

const std::span<const Register<Core>> Core::table{CoreTable::rows};

Core::Core(Bus& bus, CpuState& kept, std::span<std::uint32_t> words, Records& records, Connections connections)
    : RegisterBlock("SCS", table, words, records), bus_(bus), kept_(kept), connections_(std::move(connections))
{
}

RunState Core::state() const
{
    return static_cast<RunState>(word(run_state_flag));
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

Cpu& Core::cpu()
{
    if (cpu_ == nullptr) {
        cpu_ = make_cpu(bus_);
        cpu_->restore(kept_);
    }
    if (std::exchange(memories_are_stale_, false)) {
        cpu_->set_memories(connections_.memories());
    }
    return *cpu_;
}

void Core::keep_registers()
{
    kept_ = cpu_->save();
}

void Core::halt()
{
    if (!is_halted()) {
        word(debug_fault_status) |= stopped_by_request;
    }
    set_state(RunState::halted);
}

void Core::halt_at_reset()
{
    cpu().write_register(program_counter, bus_.peek_word(reset_vectors + 4) & ~1U);
    keep_registers();
    word(debug_fault_status) |= stopped_by_vector_catch;
    set_state(RunState::halted);
}

void Core::go()
{
    if (is_halted()) {
        set_state(word(lock_up_flag) != 0 ? RunState::locked_up : RunState::running);
    }
}

void Core::step()
{
    if (word(lock_up_flag) == 0) {
        run(1);
    }
    set_state(RunState::halted);
}

std::uint32_t Core::read_cpu_register(unsigned index)
{
    return cpu().read_register(index);
}

void Core::write_cpu_register(unsigned index, std::uint32_t value)
{
    cpu().write_register(index, value);
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
    RegisterBlock::reset(kind);
    const std::uint32_t handler = bus_.peek_word(reset_vectors + 4);
    cpu().reset(bus_.peek_word(reset_vectors), handler);
    unspent_ = 0;
    if (is_debug_enabled() && (word(exception_monitor) & catch_core_reset) != 0) {
        set_state(RunState::halted);
    } else if (const FaultStatus fetch = first_fetch(handler); fetch.bits != 0) {
        // A chip without a program: it does nothing, and there is nothing to tell anybody about.
        cpu().write_register(program_counter, lock_up_address);
        note_fault(fetch);
        lock_up();
    } else {
        set_state(RunState::running);
    }
    keep_registers();
}

void Core::elapse(std::uint64_t nanoseconds)
{
    if (state() != RunState::running || held_) {
        unspent_ = 0;
        return;
    }
    constexpr std::uint64_t second = 1'000'000'000;
    unspent_ += std::min(nanoseconds, timing::longest_life_per_call_ns) * timing::cpu_hertz;
    const std::uint64_t budget = unspent_ / second;
    unspent_ %= second;
    if (budget != 0) {
        run(budget);
    }
}

void Core::run(std::uint64_t budget)
{
    Cpu& engine = cpu();
    executing_ = true;
    const RunResult result = engine.run(budget);
    executing_ = false;
    keep_registers();
    stopped(result);
}

void Core::stopped(const RunResult& result)
{
    switch (result.why) {
    case StopReason::budget_spent:
    case StopReason::run_ended:
        return;
    case StopReason::sleeping:
        set_state(RunState::sleeping);
        return;
    case StopReason::breakpoint:
        if (is_debug_enabled()) {
            word(debug_fault_status) |= stopped_by_breakpoint;
            set_state(RunState::halted);
            return;
        }
        records().add("cpu-fault", fmt::format("breakpoint at 0x{:08X} without a debugger", kept_[program_counter]));
        word(hard_fault_status) |= hard_fault_by_breakpoint;
        lock_up();
        return;
    case StopReason::fault:
        records().add("cpu-fault", result.fault);
        note_fault(result.status);
        if (is_debug_enabled()) {
            word(debug_fault_status) |= stopped_by_vector_catch;
            set_state(RunState::halted);
            return;
        }
        lock_up();
        return;
    }
}

/// No handler of its own is enabled for any fault, and so each becomes a hard fault.
void Core::note_fault(FaultStatus status)
{
    word(fault_status) |= status.bits;
    word(hard_fault_status) |= hard_fault_forced;
    if ((status.bits & fault_bit::address_valid) != 0) {
        word(bus_fault_address) = status.address;
    }
}

void Core::lock_up()
{
    word(lock_up_flag) = 1;
    set_state(RunState::locked_up);
}

void Core::code_changed(std::uint32_t address, std::uint32_t length)
{
    if (cpu_ != nullptr) {
        cpu_->code_changed(address, length);
    }
}

void Core::memories_changed()
{
    memories_are_stale_ = true;
    if (executing_) {
        cpu();
    }
}

void Core::write_reset_control(std::uint32_t value, unsigned /*index*/)
{
    if (value >> 16 != reset_key) {
        records().add("register-key", fmt::format("AIRCR = 0x{:08X} without its key", value));
        return;
    }
    if ((value & reset_request) != 0) {
        connections_.request_reset();
        if (executing_) {
            cpu_->end_run(); // firmware resets its chip
        }
    }
}

/// VECTACTIVE, the number of the active exception.
std::uint32_t Core::read_interrupt_control(unsigned /*index*/)
{
    constexpr std::uint32_t exception_number = 0x1FF;
    return kept_[cpu_register::xpsr] & exception_number;
}

std::uint32_t Core::read_debug_control(unsigned /*index*/)
{
    constexpr std::array status{0U, status_halted | debug_halt, status_sleeping, status_locked_up};
    return word(debug_control) | status_register_ready | status.at(static_cast<std::size_t>(state()));
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
        step();
    }
}

void Core::transfer_register(std::uint32_t value, unsigned /*index*/)
{
    const unsigned index = value & 0x7F;
    if (!is_halted() || index >= cpu_register_count) {
        records().add("cpu-register", fmt::format("DCRSR = 0x{:08X} {}", value, is_halted() ? "" : "while running"));
        return;
    }
    if ((value & register_transfer_write) != 0) {
        write_cpu_register(index, word(register_data));
    } else {
        word(register_data) = read_cpu_register(index);
    }
}

} // namespace jlinksim
