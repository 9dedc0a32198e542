#include "sim/cpu/register_file_cpu.h"

#include <cassert>

namespace jlinksim {

namespace {

unsigned banked(unsigned index)
{
    assert(index < cpu_register_count);
    return index == cpu_register::sp ? cpu_register::msp : index;
}

} // namespace

RegisterFileCpu::RegisterFileCpu()
{
    reset(0, 0);
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
