#include "sim/cpu/register_file_cpu.h"

#include <cassert>

namespace jlinksim {

RegisterFileCpu::RegisterFileCpu()
{
    reset(0, 0);
}

/// R13 is the stack pointer in use, which CONTROL chooses in thread mode.
unsigned RegisterFileCpu::banked(unsigned index) const
{
    assert(index < cpu_state_words);
    if (index != cpu_register::sp) {
        return index;
    }
    const bool is_thread = (registers_[cpu_register::xpsr] & cpu_register::xpsr_exception) == 0;
    const bool is_process = (registers_[cpu_register::control] & cpu_register::control_process_stack) != 0;
    return is_thread && is_process ? cpu_register::psp : cpu_register::msp;
}

CpuState RegisterFileCpu::save() const
{
    CpuState state = registers_;
    state[cpu_register::sp] = read_register(cpu_register::sp);
    return state;
}

void RegisterFileCpu::set_memories(std::span<const DirectMemory> /*memories*/) {}

void RegisterFileCpu::reset(std::uint32_t initial_stack_pointer, std::uint32_t reset_handler)
{
    registers_.fill(0);
    write_register(cpu_register::sp, initial_stack_pointer);
    write_register(cpu_register::lr, cpu_register::lr_after_reset);
    write_register(cpu_register::pc, reset_handler);
    const bool thumb = (reset_handler & 1U) != 0;
    write_register(cpu_register::xpsr, thumb ? cpu_register::xpsr_thumb : 0);
}

std::uint32_t RegisterFileCpu::read_register(unsigned index) const
{
    return registers_[banked(index)];
}

void RegisterFileCpu::write_register(unsigned index, std::uint32_t value)
{
    registers_[banked(index)] = cpu_register::writable_part(index, value);
}

RunResult RegisterFileCpu::run(std::uint64_t budget)
{
    return {.instructions = budget, .why = StopReason::budget_spent, .fault = {}};
}

void RegisterFileCpu::code_changed(std::uint32_t /*address*/, std::uint32_t /*length*/) {}

} // namespace jlinksim
