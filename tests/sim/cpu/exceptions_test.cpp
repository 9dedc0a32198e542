#include "sim/cpu/exceptions.h"
#include "sim/cpu/register_file_cpu.h"
#include "sim/cpu/stacked_frame.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

namespace jlinksim {
namespace {

constexpr unsigned irq(unsigned number)
{
    return exception::first_interrupt + number;
}

TEST(Exceptions, TheHighestPriorityComesFirstAndInterruptsLowerGroupsOnly)
{
    struct Interrupt
    {
        unsigned number;
        std::uint8_t priority;
    };
    struct Row
    {
        const char* what;
        std::vector<Interrupt> pending;
        std::optional<Interrupt> active;
        std::uint32_t grouping;
        PriorityMasks masks;
        std::optional<unsigned> next;
    };
    const std::vector<Row> rows{
        {"nothing pending", {}, {}, 0, {}, {}},
        {"the more urgent", {{irq(1), 0x80}, {irq(9), 0x40}}, {}, 0, {}, irq(9)},
        {"equal: the lower number", {{irq(40), 0x40}, {irq(9), 0x40}}, {}, 0, {}, irq(9)},
        {"equal to the active one", {{irq(1), 0x40}}, Interrupt{irq(2), 0x40}, 0, {}, {}},
        {"above the active one", {{irq(1), 0x20}}, Interrupt{irq(2), 0x40}, 0, {}, irq(1)},
        {"another subpriority of the same group", {{irq(1), 0x20}}, Interrupt{irq(2), 0x40}, 6, {}, {}},
        {"subpriorities order those that wait", {{irq(1), 0x40}, {irq(2), 0x20}}, {}, 7, {}, irq(2)},
        {"BASEPRI", {{irq(1), 0x80}}, {}, 0, {.basepri = 0x80}, {}},
        {"above BASEPRI", {{irq(1), 0x60}}, {}, 0, {.basepri = 0x80}, irq(1)},
        {"PRIMASK", {{irq(1), 0}}, {}, 0, {.primask = 1}, {}},
        {"PRIMASK and NMI", {{exception::nmi, 0}}, {}, 0, {.primask = 1}, exception::nmi},
        {"FAULTMASK and HardFault", {{exception::hard_fault, 0}}, {}, 0, {.faultmask = 1}, {}},
        {"FAULTMASK and NMI", {{exception::nmi, 0}}, {}, 0, {.faultmask = 1}, exception::nmi},
        {"only three bits count", {{irq(1), 0x5F}}, Interrupt{irq(2), 0x40}, 0, {}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        ExceptionState state{};
        Exceptions exceptions{state};
        exceptions.set_grouping(row.grouping);
        for (const Interrupt& interrupt : row.pending) {
            exceptions.set_enabled(interrupt.number, true);
            exceptions.set_priority(interrupt.number, interrupt.priority);
            exceptions.pend(interrupt.number);
        }
        if (row.active) {
            exceptions.set_priority(row.active->number, row.active->priority);
            exceptions.enter(row.active->number);
        }
        EXPECT_EQ(exceptions.next(row.masks), row.next);
    }
}

TEST(Exceptions, ALineThatStaysHighIsPendingAgainAfterItsHandler)
{
    ExceptionState state{};
    Exceptions exceptions{state};
    exceptions.drive(3, true);
    EXPECT_EQ(exceptions.next({}), std::nullopt) << "not enabled";
    exceptions.set_enabled(irq(3), true);
    EXPECT_EQ(exceptions.next({}), irq(3));
    EXPECT_EQ(exceptions.next({}, true), std::nullopt) << "a debugger that steps holds it back";
    exceptions.enter(irq(3));
    exceptions.drive(3, true);
    EXPECT_FALSE(exceptions.is_pending(irq(3))) << "it has not risen again";
    exceptions.leave();
    EXPECT_TRUE(exceptions.is_pending(irq(3)));
    exceptions.clear_pending(irq(3));
    EXPECT_TRUE(exceptions.is_pending(irq(3)));
    exceptions.drive(3, false);
    exceptions.clear_pending(irq(3));
    EXPECT_FALSE(exceptions.is_pending(irq(3)));
}

/// Words of memory from 0x20000000 to 0x20001000.
class Memory : public CpuBus
{
public:
    bool cpu_read(std::uint32_t address, unsigned /*width*/, std::uint32_t& value) override
    {
        value = words[address];
        return is_there(address);
    }
    bool cpu_write(std::uint32_t address, unsigned /*width*/, std::uint32_t value) override
    {
        words[address] = value;
        return is_there(address);
    }
    std::map<std::uint32_t, std::uint32_t> words;

private:
    static bool is_there(std::uint32_t address) { return address >= 0x20000000 && address < 0x20001000; }
};

TEST(StackedFrame, PutsBackWhatItHasStacked)
{
    namespace reg = cpu_register;
    struct Row
    {
        const char* what;
        std::uint32_t control;
        std::uint32_t exception;
        std::uint32_t stack;
        FrameLayout layout;
        std::uint32_t how;
        std::uint32_t frame; ///< 0: refused
    };
    const std::vector<Row> rows{
        {"main stack", 0, 0, 0x20000800, {}, 0xFFFFFFF9, 0x200007E0},
        {"process stack, unprivileged", 3, 0, 0x20000800, {}, 0xFFFFFFFD, 0x200007E0},
        {"a handler", 0, 20, 0x20000800, {}, 0xFFFFFFF1, 0x200007E0},
        {"aligned", 0, 0, 0x20000804, {}, 0xFFFFFFF9, 0x200007E0},
        {"not aligned", 0, 0, 0x20000804, {.aligned = false}, 0xFFFFFFF9, 0x200007E4},
        {"with floating point", 6, 0, 0x20000804, {.aligned = false}, 0xFFFFFFED, 0x20000798},
        {"with room for it", 4, 0, 0x20000800, {.saves_singles = false}, 0xFFFFFFE9, 0x20000798},
        {"beyond memory", 0, 0, 0x20000010, {}, 0xFFFFFFF9, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Memory memory;
        RegisterFileCpu cpu;
        for (unsigned index = 0; index < cpu_state_words; ++index) {
            cpu.write_register(index, 0xA1000000 + 0x10 * index);
        }
        cpu.write_register(reg::control, row.control);
        cpu.write_register(reg::xpsr, 0x81000000 | row.exception);
        cpu.write_register(reg::sp, row.stack);
        const CpuState before = cpu.save();

        StackedFrame frame{cpu, memory};
        const ExceptionReturn how = ExceptionReturn::to_now(cpu);
        EXPECT_EQ(how.value(), row.how);
        EXPECT_EQ(frame.push(row.layout).value_or(0), row.frame);
        if (row.frame == 0) {
            continue;
        }
        EXPECT_EQ(memory.words[row.frame + 24], before[reg::pc]);
        EXPECT_EQ(memory.words[row.frame + 28] & ~(1U << 9), before[reg::xpsr]);
        EXPECT_EQ(memory.words.contains(row.frame + 32), (row.control & 4U) != 0 && row.layout.saves_singles);
        for (const unsigned index : {0U, 12U, reg::lr, reg::pc, reg::first_single + 15, reg::fpscr}) {
            const bool is_kept = index >= reg::fpscr && !memory.words.contains(row.frame + 32);
            cpu.write_register(index, is_kept ? before[index] : 0);
        }
        cpu.write_register(reg::xpsr, 0x01000000 | 11); // in the handler
        cpu.write_register(reg::control, row.control & 1U);
        EXPECT_TRUE(frame.pop(how, row.layout));
        EXPECT_EQ(cpu.save(), before);
    }
}

} // namespace
} // namespace jlinksim
