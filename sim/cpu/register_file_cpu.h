#pragma once

#include "sim/cpu/cpu.h"

#include <array>

namespace jlinksim {

/// A CPU that holds its registers and executes nothing: for builds without an instruction engine.
class RegisterFileCpu final : public Cpu
{
public:
    RegisterFileCpu();

    void set_memories(std::span<const DirectMemory> memories) override;
    void reset(std::uint32_t initial_stack_pointer, std::uint32_t reset_handler) override;
    std::uint32_t read_register(unsigned index) const override;
    void write_register(unsigned index, std::uint32_t value) override;
    CpuState save() const override;
    void restore(const CpuState& state) override { registers_ = state; }
    RunResult run(std::uint64_t budget) override;
    void end_run() override {}
    std::uint64_t begun() const override { return 0; }
    std::uint32_t place() const override { return read_register(cpu_register::pc); }
    void set_traps(CpuTraps /*traps*/) override {}
    void set_stops(const CpuStops& /*stops*/) override {}
    void code_changed(std::uint32_t address, std::uint32_t length) override;
    bool executes() const override { return false; }

private:
    unsigned banked(unsigned index) const;

    CpuState registers_{};
};

} // namespace jlinksim
