#include "sim/cpu/unicorn_cpu.h"

#include <algorithm>
#include <cassert>
#include <fmt/core.h>
#include <utility>

namespace jlinksim {

namespace {

using thumb::IfThen;
using thumb::Instruction;
using thumb::Kind;

bool same(const DirectMemory& a, const DirectMemory& b)
{
    return a.base == b.base && a.bytes.data() == b.bytes.data() && a.bytes.size() == b.bytes.size() &&
           a.writable == b.writable;
}

} // namespace

UnicornCpu::UnicornCpu(CpuBus& bus) : accesses_{bus}
{
    reset(0, 0);
}

void UnicornCpu::set_memories(std::span<const DirectMemory> memories)
{
    if (std::equal(memories.begin(), memories.end(), memories_.begin(), memories_.end(), same)) {
        return;
    }
    memories_.assign(memories.begin(), memories.end());
    memories_changed_ = true;
    if (running_) {
        engine_->request_stop();
    }
}

void UnicornCpu::set_stops(const CpuStops& stops)
{
    // The engine remembers where it does not have to ask.
    memories_changed_ = memories_changed_ || stops.breakpoints != stops_.breakpoints;
    stops_ = stops;
}

void UnicornCpu::open_engine()
{
    UnicornEngine::Observer& observer = *this;
    watching_ = wanted_watching();
    engine_ = std::make_unique<UnicornEngine>(memories_, observer, watching_);
    memories_changed_ = false;
}

UnicornEngine::Watching UnicornCpu::wanted_watching() const
{
    return {.tells_accesses = !stops_.watchpoints.empty(), .asks_always = traps_.unaligned};
}

/// To take a large window out of the engine's map costs it half a second, to open another engine less than a
/// millisecond.
void UnicornCpu::renew_engine()
{
    const CpuState state = engine_->save();
    open_engine();
    engine_->restore(state);
}

CpuState UnicornCpu::save() const
{
    CpuState state = engine_->save();
    for (unsigned index = 0; index < cpu_state_words; ++index) {
        state[index] = cpu_register::writable_part(index, state[index]);
    }
    return state;
}

void UnicornCpu::reset(std::uint32_t initial_stack_pointer, std::uint32_t reset_handler)
{
    assert(!running_);
    open_engine();
    const bool thumb = (reset_handler & 1U) != 0;
    write_register(cpu_register::xpsr, thumb ? cpu_register::xpsr_thumb : 0);
    write_register(cpu_register::sp, initial_stack_pointer);
    write_register(cpu_register::lr, cpu_register::lr_after_reset);
    write_register(cpu_register::pc, reset_handler);
}

std::uint32_t UnicornCpu::read_register(unsigned index) const
{
    assert(index < cpu_state_words);
    return cpu_register::writable_part(index, engine_->read_register(index));
}

std::uint32_t UnicornCpu::place() const
{
    const auto begun = executing_ ? engine_->begun() : std::nullopt;
    return begun ? *begun : read_register(cpu_register::pc);
}

void UnicornCpu::write_register(unsigned index, std::uint32_t value)
{
    assert(index < cpu_state_words);
    engine_->write_register(index, cpu_register::writable_part(index, value));
}

void UnicornCpu::code_changed(std::uint32_t address, std::uint32_t length)
{
    engine_->forget_code(address, length);
}

RunResult UnicornCpu::run(std::uint64_t budget)
{
    running_ = true;
    stopped_ = false;
    ended_ = false;
    result_ = {};
    while (result_.instructions < budget && !stopped_ && !ended_) {
        if (memories_changed_ || watching_ != wanted_watching()) {
            renew_engine();
        }
        advance(budget);
    }
    running_ = false;
    if (ended_ && !stopped_) {
        result_.why = StopReason::run_ended;
    }
    return std::move(result_);
}

void UnicornCpu::end_run()
{
    ended_ = true;
    engine_->request_stop();
}

/// One instruction that is carried out here, or as many as the engine can do at once.
void UnicornCpu::advance(std::uint64_t budget)
{
    const std::uint32_t pc = read_register(cpu_register::pc);
    const std::uint32_t xpsr = read_register(cpu_register::xpsr);
    if (has_breakpoint(pc)) {
        stop(StopReason::hardware_breakpoint);
        return;
    }
    if ((xpsr & cpu_register::xpsr_thumb) == 0) {
        fault(fmt::format("no Thumb state at 0x{:08X}: a branch target or vector had bit 0 clear", pc),
              {fault_bit::no_thumb_state});
        return;
    }
    const auto block = IfThen::of_xpsr(xpsr);
    const auto instruction = fetch(pc);
    if (!instruction) {
        execute(1, true); // for the engine to refuse
        return;
    }
    const Kind kind = thumb::classify(*instruction);
    const std::uint64_t left = budget - result_.instructions;
    const unsigned portion = portion_at(pc).instructions;
    if (block.active() && !block.condition_holds(xpsr) && kind != Kind::breakpoint) {
        complete(*instruction);
    } else if (portion == 0 || portion > left) {
        carry_out(kind, *instruction);
    } else if (block.active()) {
        execute_conditional(block);
    } else {
        execute(left);
    }
}

bool UnicornCpu::has_breakpoint(std::uint32_t address) const
{
    return !stops_.breakpoints.empty() && std::ranges::find(stops_.breakpoints, address) != stops_.breakpoints.end();
}

const DirectMemory* UnicornCpu::find_memory(std::uint32_t address) const
{
    const auto found = std::ranges::find_if(memories_, [address](const DirectMemory& memory) {
        return address >= memory.base && address - memory.base < memory.bytes.size();
    });
    return found == memories_.end() ? nullptr : &*found;
}

std::optional<Instruction> UnicornCpu::fetch(std::uint32_t address) const
{
    const DirectMemory* const memory = find_memory(address);
    if (memory == nullptr) {
        return std::nullopt;
    }
    const std::span<const std::uint8_t> bytes = memory->bytes.subspan(address - memory->base);
    const auto halfword = [&](std::size_t at) { return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8U)); };
    Instruction instruction{.first = halfword(0)}; // memories are made of whole words
    if (instruction.is_wide() && bytes.size() >= 4) {
        instruction.second = halfword(2);
    }
    return instruction;
}

/// Run the engine for `most` instructions, or until something else needs to be done.
void UnicornCpu::execute(std::uint64_t most, bool is_decided)
{
    executing_ = true;
    watched_.reset();
    const UnicornEngine::Stop reason = engine_->execute(most, is_decided);
    executing_ = false;
    const std::uint64_t executed = engine_->executed();
    result_.instructions += executed;
    if (reason == UnicornEngine::Stop::block_refused) {
        carry_out(Kind::if_then, *fetch(read_register(cpu_register::pc)));
        return;
    }
    if (reason == UnicornEngine::Stop::asked) {
        if (watched_) {
            stop(StopReason::watchpoint);
            result_.comparator = *watched_;
        } else if (executed == 0) {
            fault(fmt::format("the instruction engine does not go on at 0x{:08X}", read_register(cpu_register::pc)));
        }
        return;
    }
    if (reason == UnicornEngine::Stop::fetch && executed == most) {
        return; // the engine looks ahead of the budget
    }
    if (is_exception_return(reason)) {
        stop(StopReason::exception_return);
        return;
    }
    const bool left_thumb = (read_register(cpu_register::xpsr) & cpu_register::xpsr_thumb) == 0;
    if (left_thumb) {
        return; // advance() tells
    }
    if (engine_->begun() == read_register(cpu_register::pc)) {
        --result_.instructions; // it was counted when it began
    }
    fault(describe(reason), status_of(reason));
}

/// In thread mode it is a branch to where no code is.
bool UnicornCpu::is_exception_return(UnicornEngine::Stop reason) const
{
    const bool is_handler = (read_register(cpu_register::xpsr) & cpu_register::xpsr_exception) != 0;
    return reason == UnicornEngine::Stop::exception_return && is_handler;
}

/// Each instruction as a block of its own; we keep the place.
void UnicornCpu::execute_conditional(IfThen block)
{
    const auto put = [this](IfThen state) {
        write_register(cpu_register::xpsr, state.put_into(read_register(cpu_register::xpsr)));
    };
    const std::uint64_t before = result_.instructions;
    put(block.only_next());
    execute(1, true);
    put(result_.instructions == before ? block : block.next());
}

void UnicornCpu::stop(StopReason why)
{
    result_.why = why;
    stopped_ = true;
}

void UnicornCpu::fault(std::string text, FaultStatus status)
{
    stop(StopReason::fault);
    result_.fault = std::move(text);
    result_.status = status;
}

Portion UnicornCpu::portion_at(std::uint32_t address) const
{
    const Portion portion = jlinksim::portion_at(address, traps_, [this](std::uint32_t at) { return fetch(at); });
    if (portion.instructions <= 1) {
        return has_breakpoint(address) ? Portion{} : portion;
    }
    // A block in which something could stop the CPU is executed piece by piece.
    const bool may_stop = !stops_.watchpoints.empty() || std::ranges::any_of(stops_.breakpoints, [&](std::uint32_t at) {
        return at - address < portion.bytes;
    });
    return may_stop ? Portion{} : portion;
}

bool UnicornCpu::on_read(std::uint32_t address, unsigned size, std::uint64_t& value)
{
    // The engine makes accesses of the direct memories itself.
    return find_memory(address) != nullptr ? accesses_.require_alignment("read", address, size)
                                           : accesses_.read(address, size, value);
}

bool UnicornCpu::on_write(std::uint32_t address, unsigned size, std::uint64_t value)
{
    const DirectMemory* const memory = find_memory(address);
    return memory != nullptr && memory->writable ? accesses_.require_alignment("write", address, size)
                                                 : accesses_.write(address, size, value);
}

void UnicornCpu::on_access(std::uint32_t address, unsigned size, bool is_write)
{
    for (const Watchpoint& watchpoint : stops_.watchpoints) {
        const bool overlaps = std::uint64_t{address} < watchpoint.address + watchpoint.length &&
                              watchpoint.address < std::uint64_t{address} + size;
        if (overlaps && (is_write ? watchpoint.writes : watchpoint.reads)) {
            watched_ = watchpoint.comparator;
            engine_->request_stop();
        }
    }
}

} // namespace jlinksim
