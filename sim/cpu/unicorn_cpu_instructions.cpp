// The instructions that the CPU carries out without the engine, and what it says of those that the engine cannot.
#include "sim/cpu/unicorn_cpu.h"

#include <fmt/core.h>

namespace jlinksim {
namespace {

using thumb::IfThen;
using thumb::Instruction;
using thumb::Kind;

std::string code_text(Instruction instruction)
{
    return instruction.is_wide() ? fmt::format("0x{:04X} 0x{:04X}", instruction.first, instruction.second)
                                 : fmt::format("0x{:04X}", instruction.first);
}

} // namespace

void UnicornCpu::carry_out(Kind kind, Instruction instruction)
{
    switch (kind) {
    case Kind::breakpoint:
        stop(StopReason::breakpoint);
        return;
    case Kind::supervisor_call:
        complete(instruction);
        stop(StopReason::supervisor_call);
        return;
    case Kind::if_then: {
        const IfThen block{static_cast<std::uint8_t>(instruction.first & 0xFFU)};
        complete(instruction);
        write_register(cpu_register::xpsr, block.put_into(read_register(cpu_register::xpsr)));
        return;
    }
    case Kind::wait_for_interrupt:
        complete(instruction);
        stop(StopReason::wait_for_interrupt);
        return;
    case Kind::wait_for_event:
        complete(instruction);
        stop(StopReason::wait_for_event);
        return;
    case Kind::send_event:
        complete(instruction);
        stop(StopReason::event_sent);
        return;
    case Kind::mask_write:
        execute_alone();
        if (!stopped_) {
            stop(StopReason::masks_written);
        }
        return;
    case Kind::floating_point:
        stop(StopReason::floating_point);
        return;
    case Kind::division:
        divide(instruction);
        return;
    case Kind::yield:
    case Kind::ordinary:
        complete(instruction);
        return;
    }
}

/// The instruction is done or skipped: count it, and go past it.
void UnicornCpu::complete(Instruction instruction)
{
    ++result_.instructions;
    const std::uint32_t xpsr = read_register(cpu_register::xpsr);
    write_register(cpu_register::xpsr, IfThen::of_xpsr(xpsr).next().put_into(xpsr));
    write_register(cpu_register::pc, read_register(cpu_register::pc) + instruction.length());
}

/// One instruction in the engine, in or outside an IT block.
void UnicornCpu::execute_alone()
{
    const auto block = IfThen::of_xpsr(read_register(cpu_register::xpsr));
    if (block.active()) {
        execute_conditional(block);
    } else {
        execute(1, true);
    }
}

void UnicornCpu::divide(Instruction instruction)
{
    if (read_register(thumb::divisor_register(instruction)) == 0) {
        fault(fmt::format("division by zero at 0x{:08X}", read_register(cpu_register::pc)),
              {fault_bit::division_by_zero});
        return;
    }
    execute_alone();
}

std::string UnicornCpu::describe(UnicornEngine::Stop reason) const
{
    const std::uint32_t pc = read_register(cpu_register::pc);
    switch (reason) {
    case UnicornEngine::Stop::refused:
        return fmt::format("{}, by the instruction at 0x{:08X}", accesses_.refusal(), pc);
    case UnicornEngine::Stop::fetch:
        return fmt::format("instruction fetch at 0x{:08X}, where no code memory is", pc);
    case UnicornEngine::Stop::undefined:
        return fmt::format("undefined instruction {} at 0x{:08X}", code_text(fetch(pc).value_or(Instruction{})), pc);
    case UnicornEngine::Stop::exception_return:
        return fmt::format("branch to the exception return 0x{:08X} outside a handler", pc);
    case UnicornEngine::Stop::asked:
    case UnicornEngine::Stop::block_refused:
        break;
    }
    return {};
}

FaultStatus UnicornCpu::status_of(UnicornEngine::Stop reason) const
{
    switch (reason) {
    case UnicornEngine::Stop::refused:
        return accesses_.status();
    case UnicornEngine::Stop::undefined:
        return {fault_bit::undefined_instruction};
    case UnicornEngine::Stop::fetch:
    case UnicornEngine::Stop::exception_return: // outside a handler it is a fetch like any other
        return FaultStatus::of_fetch(read_register(cpu_register::pc));
    case UnicornEngine::Stop::asked:
    case UnicornEngine::Stop::block_refused:
        break;
    }
    return {};
}

} // namespace jlinksim
