#include "tests/sim/cpu/board.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace jlinksim {
namespace {

class Execution : public testing::Test, public Board
{
};

TEST_F(Execution, SpendsTheBudgetToTheInstruction)
{
    put(0x100, {0x3001, 0x1C49, 0xE7FC}); // adds r0, #1; adds r1, r1, #1; b 0x100
    for (const std::uint64_t budget : {1U, 2U, 3U, 4U, 7U, 1000U, 100001U}) {
        SCOPED_TRACE(budget);
        cpu.reset(stack, 0x101);
        const RunResult result = cpu.run(budget);
        EXPECT_EQ(result.instructions, budget);
        EXPECT_EQ(result.why, StopReason::budget_spent);
        EXPECT_EQ(r(0), (budget + 2) / 3);
        EXPECT_EQ(r(1), (budget + 1) / 3);
        EXPECT_EQ(pc(), 0x100 + 2 * (budget % 3));
    }
}

TEST_F(Execution, ReturnsFromBranchesThatGoNowhere)
{
    const std::vector<std::pair<std::string, std::vector<unsigned>>> rows{
        {"a branch to itself", {0xE7FE}},
        {"two branches to each other", {0xE7FF, 0xE7FD}},
        {"a conditional branch to itself", {0xD1FE}},
        {"bx to itself", {0x4770}},
        {"an IT block whose branch goes to itself", {0xBF18, 0xE7FE}},
        {"an IT block whose branch goes to the IT", {0xBF18, 0xE7FD}},
    };
    for (const auto& [what, code] : rows) {
        SCOPED_TRACE(what);
        cpu.reset(stack, 0x101);
        set_r(cpu_register::lr, 0x101);
        put(0x100, code);
        const RunResult result = cpu.run(10007);
        EXPECT_EQ(result.instructions, 10007);
        EXPECT_EQ(result.why, StopReason::budget_spent);
    }
}

TEST_F(Execution, DoesTheSameInOneRunAsInSingleSteps)
{
    constexpr unsigned load = 0x6823;  // ldrne r3, [r4]
    constexpr unsigned store = 0x6023; // strne r3, [r4]
    constexpr std::uint32_t in_flash = 0x200;
    for (const auto& [access, place] : std::vector<std::pair<unsigned, std::uint32_t>>{
             {load, ram_base}, {load, peripherals}, {load, nowhere}, {store, in_flash}, {store, peripherals}}) {
        // movs r0, #0; adds r0, #1; cmp r0, #5; ite lt; addlt r1, r1, #2; movge r2, #7; cmp r0, #3
        // itt ne; the access; addne r5, r5, r3; b
        put(0x100, {0x2000, 0x3001, 0x2805, 0xBFB4, 0x3102, 0x2207, 0x2803, 0xBF1C, access, 0x18ED, 0xE7F5});
        for (std::uint64_t steps = 0; steps < 64; ++steps) {
            SCOPED_TRACE(testing::Message() << steps << " steps, " << access << " at " << place);
            std::vector<std::vector<std::uint32_t>> outcomes;
            for (const std::uint64_t at_once : {std::uint64_t{1}, std::max<std::uint64_t>(steps, 1)}) {
                cpu.reset(stack, 0x101);
                set_r(4, place);
                put_word(in_flash, ~0U);
                accesses.clear();
                std::uint64_t done = 0;
                for (std::uint64_t left = steps; left >= at_once; left -= at_once) {
                    done += cpu.run(at_once).instructions;
                }
                EXPECT_EQ(done, place == nowhere ? std::min<std::uint64_t>(steps, 8) : steps);
                const auto accesses_made = static_cast<std::uint32_t>(place == nowhere ? 0 : accesses.size());
                outcomes.push_back({pc(), xpsr(), r(0), r(1), r(2), r(3), r(5), accesses_made, word(in_flash)});
            }
            EXPECT_EQ(outcomes[0], outcomes[1]);
        }
    }
}

TEST_F(Execution, ShowsTheRestOfAnItBlockInXpsrAndGoesOnFromIt)
{
    put(0x100, {0xBF06, 0x2101, 0x2202, 0x2303, 0xE7FE}); // itte eq; moveq r1, #1; moveq r2, #2; movne r3, #3; b .
    set_pc(0x100);
    cpu.write_register(cpu_register::xpsr, 0x41000000);
    cpu.run(2);
    EXPECT_EQ(xpsr(), 0x41000C00);
    // The host looks at the registers, turns the condition, and lets it go on.
    cpu.write_register(cpu_register::xpsr, xpsr() & ~0x40000000U);
    cpu.run(2);
    EXPECT_EQ(xpsr(), 0x01000000) << "movs in an IT block leaves the flags alone";
    EXPECT_EQ((std::vector{r(1), r(2), r(3), pc()}), (std::vector<std::uint32_t>{1, 0, 3, 0x108}));
}

TEST_F(Execution, StopsBehindWhatItsOwnerCarriesOutAndStopsInFrontOfBreakpoints)
{
    struct Row
    {
        const char* what;
        std::vector<unsigned> code;
        StopReason why;
        std::uint32_t length; ///< of what was executed
    };
    const std::vector<Row> rows{
        {"WFI", {0xBF30}, StopReason::wait_for_interrupt, 2},
        {"WFE", {0xBF20}, StopReason::wait_for_event, 2},
        {"wide WFI", {0xF3AF, 0x8003}, StopReason::wait_for_interrupt, 4},
        {"wide WFE behind a wide NOP and a DMB",
         {0xF3AF, 0x8000, 0xF3BF, 0x8F5F, 0xF3AF, 0x8002},
         StopReason::wait_for_event,
         12},
        {"WFE after another instruction", {0xBF00, 0xBF20}, StopReason::wait_for_event, 4},
        {"SEV", {0xBF40, 0xBF20}, StopReason::event_sent, 2},
        {"SVC", {0xDF07, 0xBF00}, StopReason::supervisor_call, 2},
        {"CPSID", {0xB672, 0xBF00}, StopReason::masks_written, 2},
        {"MSR", {0xF380, 0x8811, 0xBF00}, StopReason::masks_written, 4},
        {"an MSR that is not skipped", {0xBF18, 0xF380, 0x8811}, StopReason::masks_written, 6},
        {"YIELD, NOP and a hint without meaning go on", {0xBF10, 0xBF00, 0xBF50, 0xBE00}, StopReason::breakpoint, 6},
        {"a skipped WFI", {0xBF08, 0xBF30, 0xBE00}, StopReason::breakpoint, 4},
        {"a WFI that is not skipped", {0xBF18, 0xBF30, 0xBE00}, StopReason::wait_for_interrupt, 4},
        {"a BKPT in an IT block that skips", {0xBF08, 0xBEAB}, StopReason::breakpoint, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        cpu.reset(stack, 0x101);
        cpu.set_traps({.mask_writes = true});
        put(0x100, row.code);
        EXPECT_EQ(cpu.run(10).why, row.why);
        EXPECT_EQ(pc(), 0x100 + row.length);
        if (row.why == StopReason::breakpoint) {
            const RunResult again = cpu.run(10);
            EXPECT_EQ(again.why, StopReason::breakpoint);
            EXPECT_EQ(again.instructions, 0);
            EXPECT_EQ(again.fault, "");
            EXPECT_EQ(pc(), 0x100 + row.length);
        }
    }
}

TEST_F(Execution, FaultsWithTheProgramCounterAtTheCulprit)
{
    struct Row
    {
        std::vector<unsigned> code; ///< at 0x100; R0 is `target`
        std::uint32_t target;
        std::uint32_t pc;
        std::uint64_t instructions;
        const char* text; ///< part of what the record says
    };
    const std::vector<Row> rows{
        {{0xBF00, 0x4700}, nowhere + 1, nowhere, 2, "instruction fetch at 0x30000000"},
        {{0xBF00, 0x4700}, peripherals + 1, peripherals, 2, "instruction fetch at 0x40000000"},
        {{0xBF00, 0x4700}, 0x10001, 0x10000, 2, "instruction fetch at 0x00010000"},
        {{0xBF00, 0x4700}, 0x104, 0x104, 2, "no Thumb state at 0x00000104"},
        {{0xBF00, 0x4700}, 0xFFFFFFF9, 0xFFFFFFF8, 2, "exception return 0xFFFFFFF8"},
        {{0xBF00, 0xDE07}, 0, 0x102, 1, "undefined instruction 0xDE07 at 0x00000102"},
        {{0xBF00, 0xFFFF, 0xFFFF}, 0, 0x102, 1, "undefined instruction 0xFFFF 0xFFFF at 0x00000102"},
        {{0xBF00, 0x6801},
         nowhere,
         0x102,
         1,
         "read of 4 bytes at 0x30000000 refused by the bus, by the instruction at 0x00000102"},
        {{0xBF00, 0x7001}, nowhere, 0x102, 1, "write of 1 byte at 0x30000000 refused"},
        {{0xBF00, 0x8801}, peripherals + 1, 0x102, 1, "read of 2 bytes at 0x40000001 not aligned"},
        {{0xBF18, 0x6801}, nowhere, 0x102, 1, "read of 4 bytes at 0x30000000 refused"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        cpu.reset(stack, 0x101);
        put(0x100, row.code);
        set_r(0, row.target);
        set_r(1, 0x77);
        const RunResult result = cpu.run(100);
        EXPECT_EQ(result.why, StopReason::fault);
        EXPECT_EQ(result.instructions, row.instructions);
        EXPECT_EQ(pc(), row.pc);
        EXPECT_EQ(r(1), 0x77) << "the instruction has no effect";
        EXPECT_NE(result.fault.find(row.text), std::string::npos) << result.fault;
        EXPECT_EQ(cpu.run(100).why, StopReason::fault) << "and it stays so";
    }
}

TEST_F(Execution, GoesOnInAnItBlockWhereItFaulted)
{
    put(0x100, {0xBF1C, 0x6801, 0x2205, 0xE7FE}); // itt ne; ldrne r1, [r0]; movne r2, #5; b .
    set_pc(0x100);
    set_r(0, nowhere);
    EXPECT_EQ(cpu.run(100).why, StopReason::fault);
    EXPECT_EQ(xpsr(), 0x01001C00);
    set_r(0, peripherals);
    EXPECT_EQ(cpu.run(2).why, StopReason::budget_spent);
    EXPECT_EQ((std::vector{r(1), r(2), xpsr()}), (std::vector<std::uint32_t>{peripherals, 5, 0x01000000}));
}

TEST_F(Execution, StopsForADebuggerWithinAnItBlockThatItHasExecutedBefore)
{
    put(0x100, {0xBF1C, 0x6801, 0x2205, 0xE7FB}); // itt ne; ldrne r1, [r0]; movne r2, #5; b 0x100
    set_pc(0x100);
    set_r(0, ram_base);
    EXPECT_EQ(cpu.run(8).why, StopReason::budget_spent);
    const std::vector<std::pair<CpuStops, StopReason>> rows{
        {{.breakpoints = {0x104}, .watchpoints = {}}, StopReason::hardware_breakpoint},
        {{.breakpoints = {}, .watchpoints = {{.comparator = 2, .address = ram_base, .length = 4, .reads = true}}},
         StopReason::watchpoint},
    };
    for (const auto& [stops, why] : rows) {
        cpu.set_stops(stops);
        const RunResult result = cpu.run(100);
        EXPECT_EQ(result.why, why);
        EXPECT_EQ(result.comparator, why == StopReason::watchpoint ? 2U : 0U);
        EXPECT_EQ(pc(), 0x104);
        EXPECT_EQ(xpsr(), 0x01001800) << "the rest of the block";
        cpu.set_stops({});
        EXPECT_EQ(cpu.run(2).why, StopReason::budget_spent);
        EXPECT_EQ(pc(), 0x100);
    }
}

TEST_F(Execution, FaultsOnlyWhenTheBudgetGetsThere)
{
    put(0x100, {0x4700}); // bx r0
    set_pc(0x100);
    set_r(0, nowhere + 1);
    EXPECT_EQ(cpu.run(1).why, StopReason::budget_spent);
    EXPECT_EQ(pc(), nowhere);
    EXPECT_EQ(cpu.run(1).why, StopReason::fault);
}

TEST_F(Execution, RunsOffTheEndOfFlashIntoAFault)
{
    put(0xFFFC, {0xBF00, 0xBF00});
    set_pc(0xFFFC);
    EXPECT_EQ(cpu.run(10).instructions, 2);
    EXPECT_EQ(pc(), 0x10000);
    put(0xFFFE, {0xF000}); // half an instruction
    set_pc(0xFFFE);
    EXPECT_EQ(cpu.run(10).why, StopReason::fault);
    EXPECT_EQ(pc(), 0xFFFE);
}

TEST_F(Execution, SeesCodeThatTheHostHasChangedAlsoUnderAnotherAddress)
{
    constexpr std::uint32_t alias = 0x08000000;
    std::vector<DirectMemory> all = memories();
    all.push_back({.base = alias, .bytes = std::span{ram}.subspan(0x1000), .writable = true});
    cpu.set_memories(all);
    const std::pair<std::uint32_t, std::uint32_t> places[]{
        {0x100, 0x100}, {ram_base, ram_base}, {ram_base + 0x1000, alias}};
    for (const auto& [written, executed] : places) {
        for (const unsigned value : {1U, 2U}) {
            put(written, {0x2000 + value, 0xE7FD}); // movs r0, #value; b
            set_pc(executed);
            cpu.run(1000);
            EXPECT_EQ(r(0), value);
        }
        put(written, {0x2003, 0xBF40}); // movs; sev, which is not the engine's to carry out
        set_pc(executed);
        EXPECT_EQ(cpu.run(1000).why, StopReason::event_sent);
    }
}

TEST_F(Execution, SeesCodeThatFirmwareHasChanged)
{
    put(ram_base + 0x200, {0x2001, 0x4770});      // movs r0, #1; bx lr
    put(0x100, {0x4798, 0x8019, 0x4798, 0xBE00}); // blx r3; strh r1, [r3]; blx r3; bkpt
    for (const unsigned patch : {0x2009U, 0x2008U}) {
        set_pc(0x100);
        set_r(1, patch);
        set_r(3, ram_base + 0x201);
        put(0x102, {0x8011}); // strh r1, [r2]
        set_r(2, ram_base + 0x200);
        EXPECT_EQ(cpu.run(100).why, StopReason::breakpoint);
        EXPECT_EQ(r(0), patch & 0xFFU);
    }
}

TEST_F(Execution, UsesTheStackThatControlChooses)
{
    // msr psp, r0; msr control, r1; push {r0}; b .
    put(0x100, {0xF380, 0x8809, 0xF381, 0x8814, 0xB401, 0xE7FE});
    for (const std::uint32_t control : {2U, 3U}) { // privileged and not
        SCOPED_TRACE(control);
        cpu.reset(stack, 0x101);
        set_r(0, ram_base + 0x800);
        set_r(1, control);
        cpu.run(4);
        EXPECT_EQ(r(cpu_register::sp), ram_base + 0x7FC);
        EXPECT_EQ(r(cpu_register::psp), ram_base + 0x7FC);
        EXPECT_EQ(r(cpu_register::msp), stack);
        set_r(cpu_register::msp, ram_base + 0x1000);
        set_r(cpu_register::sp, ram_base + 0x600);
        EXPECT_EQ(r(cpu_register::psp), ram_base + 0x600);
        EXPECT_EQ(r(cpu_register::msp), ram_base + 0x1000);
        set_r(cpu_register::psp, ram_base + 0x700);
        EXPECT_EQ(r(cpu_register::sp), ram_base + 0x700);
        EXPECT_EQ(xpsr(), 0x01000000);
    }
    cpu.reset(stack, 0x101);
    EXPECT_EQ(r(cpu_register::sp), stack) << "reset goes back to the main stack and to privileged mode";
}

TEST_F(Execution, KeepsItsStateWhenTheMemoriesChange)
{
    // vmov s3, r0; msr psp, r1; msr primask, r2; msr control, r3; b .; vmov r4, s3; mrs r5, primask; b .
    put(0x100, {0xEE01, 0x0A90, 0xF381, 0x8809, 0xF382, 0x8810, 0xF383, 0x8814, 0xE7FE, 0xEE11, 0x4A90, 0xF3EF, 0x8510,
                0xE7FE});
    set_pc(0x100);
    set_r(0, 0x12345678);
    set_r(1, ram_base + 0x800);
    set_r(2, 1);
    set_r(3, 2);
    cpu.run(5);
    std::vector<std::uint32_t> before;
    for (unsigned i = 0; i < cpu_register_count; ++i) {
        before.push_back(r(i));
    }

    const std::vector<DirectMemory> all = memories();
    cpu.set_memories(std::span{all}.first(1)); // RAM loses its power
    cpu.run(1);
    for (unsigned i = 0; i < cpu_register_count; ++i) {
        EXPECT_EQ(r(i), before[i]) << "register " << i;
    }
    set_pc(0x112);
    cpu.run(2);
    EXPECT_EQ(r(4), 0x12345678);
    EXPECT_EQ(r(5), 1);

    put(0x130, {0x6808}); // ldr r0, [r1]
    set_pc(0x130);
    EXPECT_EQ(cpu.run(1).why, StopReason::fault);
    std::vector<DirectMemory> half = all;
    half[1].bytes = half[1].bytes.first(0x800);
    cpu.set_memories(half);
    EXPECT_EQ(cpu.run(1).why, StopReason::fault);
    cpu.set_memories(all);
    ram[0x800] = 0x5A;
    EXPECT_EQ(cpu.run(1).why, StopReason::budget_spent);
    EXPECT_EQ(r(0), 0x5A);
}

} // namespace
} // namespace jlinksim
