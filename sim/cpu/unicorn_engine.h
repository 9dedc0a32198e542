#pragma once

#include "sim/cpu/cpu.h"
#include "sim/cpu/portion.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

struct uc_struct;

namespace jlinksim {

/// A Unicorn engine with a fixed memory map, made safe: it executes until it is told to stop before an instruction, and
/// an access that is refused leaves the registers as if its instruction had not begun. What it takes to have that of
/// Unicorn 2.0.1 is explained in the source, and stays there.
class UnicornEngine
{
public:
    /// Asked while the engine executes. Of the engine's functions it may call forget_code and request_stop.
    class Observer
    {
    public:
        /// What the engine may execute at once; nothing stops in front of the instruction. Not asked inside an IT
        /// block. An answer with bytes for read-only memory holds until forget_code.
        virtual Portion portion_at(std::uint32_t address) const = 0;
        /// An access outside the direct memories, or a write to one that is not writable. `size` is 1, 2, 4 or 8 bytes,
        /// `address` any. False aborts the instruction.
        virtual bool on_read(std::uint32_t address, unsigned size, std::uint64_t& value) = 0;
        virtual bool on_write(std::uint32_t address, unsigned size, std::uint64_t value) = 0;
        /// Every access, before it is made or refused, of an engine that tells.
        virtual void on_access(std::uint32_t address, unsigned size, bool is_write) = 0;

    protected:
        ~Observer() = default;
    };

    enum class Stop
    {
        asked,            ///< by the observer or by request_stop; the program counter is at the next instruction
        refused,          ///< an access that the observer refused; the program counter is at its instruction
        fetch,            ///< no code memory at the program counter
        undefined,        ///< no instruction of this CPU at the program counter
        exception_return, ///< a branch to an EXC_RETURN value, which the program counter holds
        block_refused,    ///< an access within an IT block that the observer would have to be asked about; nothing of
                          ///< the block is done or counted
    };

    /// What costs speed, and is there for who asks.
    struct Watching
    {
        bool tells_accesses = false;
        bool asks_always =
            false; ///< the observer grants accesses of the direct memories, too, which are then made there

        bool operator==(const Watching&) const = default;
    };

    /// All memory outside `memories` belongs to the observer. Throws std::runtime_error when the engine cannot be had.
    UnicornEngine(std::span<const DirectMemory> memories, Observer& observer, Watching watching);
    UnicornEngine(const UnicornEngine&) = delete;
    UnicornEngine& operator=(const UnicornEngine&) = delete;
    ~UnicornEngine();

    std::uint32_t read_register(unsigned index) const;
    void write_register(unsigned index, std::uint32_t value);
    CpuState save() const;
    /// Only into an engine that has not executed yet.
    void restore(const CpuState& state);

    /// Execute from the program counter on, `most` instructions at most, an instruction that an IT block skips counted.
    /// XPSR's Thumb bit must be set. Of the first instruction the observer is not asked if it `is_decided`.
    Stop execute(std::uint64_t most, bool is_decided = false);
    /// Instructions of execute() so far; the one under way counts.
    std::uint64_t executed() const { return executed_; }
    /// Address of the portion that it began last, if it began one.
    std::optional<std::uint32_t> begun() const { return begun_; }
    /// End execute() after the instruction that is being executed.
    void request_stop();
    /// Drop what was translated of these bytes; after the instruction that is being executed, if one is.
    void forget_code(std::uint32_t address, std::uint32_t length);

private:
    struct Close
    {
        void operator()(uc_struct* engine) const;
    };
    struct Range
    {
        std::uint32_t address = 0;
        std::uint32_t length = 0;
    };
    /// Bytes of read-only memory that the engine is about to overwrite, as they have to be.
    struct Repair
    {
        std::uint32_t address = 0;
        std::span<std::uint8_t> memory;
        std::vector<std::uint8_t> bytes;
    };
    /// The access that the observer has just granted.
    struct Granted
    {
        std::uint32_t address = 0;
        std::uint64_t value = 0;
    };
    struct Hooks;

    void map_memories();
    void map_bus(std::uint64_t begin, std::uint64_t end);
    void add_hook(int type, void* function);
    void add_hooks();
    bool refuse(Stop reason);
    bool read_observer(std::uint32_t address, unsigned size);
    bool write_observer(std::uint32_t address, unsigned size, std::uint64_t value);
    void keep_as_written(std::uint32_t address, unsigned size);
    void settle();
    void forget_now(const Range& range);
    void forget_bytes(std::span<const std::uint8_t> bytes);
    bool begin(std::uint32_t address);
    Portion portion_at(std::uint32_t address);
    Portion ask_for_portion(std::uint32_t address);

    std::unique_ptr<uc_struct, Close> engine_;
    Observer& observer_;
    Watching watching_;
    std::vector<DirectMemory> memories_;
    KnownPortions portions_;        ///< of the first read-only memory
    WritablePortions ram_portions_; ///< of the first that can be written
    std::uint64_t most_ = 0;
    std::uint64_t executed_ = 0;
    std::optional<std::uint32_t> begun_;
    bool is_decided_ = false;
    Range block_; ///< the instructions of the IT block that was begun last
    bool executing_ = false;
    bool stop_requested_ = false;
    std::optional<Stop> stopped_by_;
    Granted granted_;
    std::vector<Repair> repairs_;
    std::vector<Range> forgotten_;
};

} // namespace jlinksim
