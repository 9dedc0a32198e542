#pragma once

#include "sim/cpu/bus_accesses.h"
#include "sim/cpu/cpu.h"
#include "sim/cpu/thumb.h"
#include "sim/cpu/unicorn_engine.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace jlinksim {

/// A Cortex-M4 that executes firmware in the Unicorn engine. IT blocks, hints, BKPT and SVC are carried out here, one
/// instruction at a time, and so is what is trapped; everything between them runs in the engine.
class UnicornCpu final : public Cpu, private UnicornEngine::Observer
{
public:
    explicit UnicornCpu(CpuBus& bus);

    void set_memories(std::span<const DirectMemory> memories) override;
    void reset(std::uint32_t initial_stack_pointer, std::uint32_t reset_handler) override;
    std::uint32_t read_register(unsigned index) const override;
    void write_register(unsigned index, std::uint32_t value) override;
    CpuState save() const override;
    void restore(const CpuState& state) override { engine_->restore(state); }
    RunResult run(std::uint64_t budget) override;
    void end_run() override;
    std::uint64_t begun() const override { return result_.instructions + (executing_ ? engine_->executed() : 0); }
    std::uint32_t place() const override;
    void set_traps(CpuTraps traps) override { traps_ = traps; }
    void set_stops(const CpuStops& stops) override;
    void code_changed(std::uint32_t address, std::uint32_t length) override;
    bool executes() const override { return true; }

private:
    Portion portion_at(std::uint32_t address) const override;
    bool on_read(std::uint32_t address, unsigned size, std::uint64_t& value) override;
    bool on_write(std::uint32_t address, unsigned size, std::uint64_t value) override;
    void on_access(std::uint32_t address, unsigned size, bool is_write) override;

    void open_engine();
    void renew_engine();
    std::optional<thumb::Instruction> fetch(std::uint32_t address) const;
    const DirectMemory* find_memory(std::uint32_t address) const;
    UnicornEngine::Watching wanted_watching() const;
    bool has_breakpoint(std::uint32_t address) const;
    void advance(std::uint64_t budget);
    void execute(std::uint64_t most, bool is_decided = false);
    void execute_conditional(thumb::IfThen block);
    void carry_out(thumb::Kind kind, thumb::Instruction instruction);
    void execute_alone();
    void divide(thumb::Instruction instruction);
    void complete(thumb::Instruction instruction);
    bool is_exception_return(UnicornEngine::Stop reason) const;
    void stop(StopReason why);
    void fault(std::string text, FaultStatus status = {});
    std::string describe(UnicornEngine::Stop reason) const;
    FaultStatus status_of(UnicornEngine::Stop reason) const;

    BusAccesses accesses_;
    std::vector<DirectMemory> memories_;
    std::unique_ptr<UnicornEngine> engine_;
    bool memories_changed_ = false; ///< the engine still has the former ones
    CpuTraps traps_;
    CpuStops stops_;
    UnicornEngine::Watching watching_; ///< the engine's

    // The run under way.
    bool running_ = false;
    bool stopped_ = false;
    bool ended_ = false;     ///< by the bus
    bool executing_ = false; ///< in the engine
    RunResult result_;
    std::optional<unsigned> watched_; ///< comparator that the instruction under way has met
};

} // namespace jlinksim
