#include "tests/sim/target_session.h"

#include <vector>

namespace tessit_test {
namespace {

constexpr std::uint32_t blank = 0xFFFFFFFF;

std::uint64_t time_of(const auto& action)
{
    const std::uint64_t begin = JLINKSIM_time_ns();
    action();
    return JLINKSIM_time_ns() - begin;
}

TEST(SimulatedFlash, clearsBitsOnlyAndOnlyWhereWritesAreEnabled)
{
    HaltedChip bench;
    write_word(0x1000, 0);
    EXPECT_EQ(read_word(0x1000), blank);
    EXPECT_THAT(bench.take_records(), begin_with("flash-write-disabled: 0x00001000"));

    program_word(0x1000, 0xFFFF00FF);
    program_word(0x1000, 0xFF00FFFF);
    EXPECT_EQ(read_word(0x1000), 0xFF0000FFU);
    EXPECT_THAT(bench.take_records(), begin_with("flash-bits-not-erased"));

    // A block is one record, whatever its size, and only whole words are written.
    const std::vector<std::uint8_t> block(1024, 0);
    EXPECT_EQ(JLINKARM_WriteMem(0x2000, 1024, block.data()), 1024);
    set_flash(flash_config, 1);
    EXPECT_EQ(JLINKARM_WriteMem(0x2002, 4, block.data()), 4);
    EXPECT_EQ(JLINKARM_WriteMem(0x2000, 6, block.data()), 6);
    EXPECT_EQ(read_word(0x2000), blank);
    EXPECT_THAT(bench.take_records(),
                begin_with("flash-write-disabled", "flash-write-not-word", "flash-write-not-word"));
}

TEST(SimulatedFlash, erasesThePageOfAnyAddressInIt)
{
    HaltedChip bench{"BIRCH_M1_VA_REV2", "flash_fill = 0\n"};
    set_flash(flash_erase_page, 0x1000);
    EXPECT_THAT(bench.take_records(), begin_with("flash-erase-disabled"));
    set_flash(flash_config, 2);
    write_word(flash_erase_page, 0x1ABC);
    EXPECT_EQ(read_word(flash_ready), 0U);
    wait_for_flash();
    EXPECT_EQ(read_word(0x0FFC), 0U);
    EXPECT_EQ(read_word(0x1000), blank);
    EXPECT_EQ(read_word(0x1FFC), blank);
    EXPECT_EQ(read_word(0x2000), 0U);
    set_flash(flash_erase_page, 0x80000);
    EXPECT_THAT(bench.take_records(), begin_with("flash-erase-outside"));
}

TEST(SimulatedFlash, guardsFactoryAreaAndMassEraseByTheirKeys)
{
    HaltedChip bench{"BIRCH_M1_VA_REV2", "flash_fill = 0\n"};
    constexpr std::uint32_t factory_word = 0x10000200;
    program_word(factory_word, 0x1234);
    EXPECT_EQ(read_word(factory_word), blank);
    set_flash(flash_key, 0x5A3C);
    program_word(factory_word, 0x1234);
    EXPECT_EQ(read_word(factory_word), 0x1234U);
    set_flash(flash_config, 2);
    set_flash(flash_mass_erase, 3); // under the wrong key
    EXPECT_EQ(read_word(0), 0U);
    EXPECT_THAT(bench.take_records(),
                begin_with("flash-key-missing: write to 0x10000200 (FICR)", "flash-key-missing: MASSERASE"));
}

TEST(SimulatedFlash, takesTheTimeOfTheDataSheet)
{
    HaltedChip bench;
    const std::vector<std::uint8_t> block(4096, 0);
    set_flash(flash_config, 1);
    const std::uint64_t to_flash = time_of([&] { JLINKARM_WriteMem(0x1000, 4096, block.data()); });
    const std::uint64_t to_ram = time_of([&] { JLINKARM_WriteMem(ram, 4096, block.data()); });
    EXPECT_EQ(to_flash - to_ram, 1024U * 41'000);
    // One round trip, 46 clocks at 4 MHz for each of 1024 words, 4 addresses and 3 transfers around them.
    EXPECT_EQ(to_ram, 250'000U + (1024 + 4 + 3) * 46 * 250);

    wait_for_flash();
    set_flash(flash_config, 2);
    const std::uint64_t page = time_of([] {
        write_word(flash_erase_page, 0x1000);
        wait_for_flash();
    });
    EXPECT_GE(page, 85'000'000U);
    EXPECT_LT(page, 86'000'000U);
    // A read waits for the erase instead of seeing half of it.
    const std::uint64_t read = time_of([] {
        write_word(flash_erase_all, 1);
        read_word(0x1000);
    });
    EXPECT_GE(read, 169'000'000U);
    EXPECT_LT(read, 170'000'000U);
    EXPECT_THAT(bench.take_records(), begin_with("flash-not-waited: read of 0x00001000 (flash)"));
}

#if defined(TESSIT_SIM_CPU_UNICORN) // the register-file CPU executes nothing
// What r5 counts in a bit more than a millisecond, with r0 the controller, r1 a blank word, r2 what is written to it,
// and r3 write-enable.
std::uint32_t count_in_a_millisecond(std::uint32_t place, const std::vector<std::uint32_t>& code)
{
    HaltedChip bench;
    for (std::size_t i = 0; i < code.size(); ++i) {
        bench.poke_word(place + static_cast<std::uint32_t>(4 * i), code[i]);
    }
    for (const auto& [index, value] : {std::pair{0U, 0x4001E000U},
                                       {1U, 0x2000U},
                                       {2U, 0x12345678U},
                                       {3U, 1U},
                                       {5U, 0U},
                                       {16U, 0x01000000U},
                                       {15U, place}}) {
        JLINKARM_WriteReg(index, value);
    }
    JLINKARM_Go();
    JLINKSIM_pass_time(1'000'000);
    JLINKARM_Halt();
    EXPECT_EQ(bench.peek_word(0x2000), 0x12345678U);
    return JLINKARM_ReadReg(5);
}

TEST(SimulatedFlash, letsACpuInRamGoOnAndOneInFlashWait)
{
    // str.w r3, [r0, #0x504]; again: str r2, [r1]; adds r5, #1; b (to adds)
    const std::vector<std::uint32_t> counts{0x3504F8C0, 0x3501600A, 0xBF00E7FD};
    // ... busy: ldr.w r4, [r0, #0x400]; cmp r4, #0; beq busy; adds r5, #1; adds r1, #4; b again
    const std::vector<std::uint32_t> words{0x3504F8C0, 0xF8D0600A, 0x2C004400, 0x3501D0FB, 0xE7F73104};
    constexpr std::uint32_t flash = 0x1000;
    constexpr double cycles_of_word = 64 * 41;
    const std::uint32_t turns = count_in_a_millisecond(ram, counts); // of two cycles
    EXPECT_NEAR(turns - count_in_a_millisecond(flash, counts), cycles_of_word / 2, 2);
    for (const std::uint32_t place : {ram, flash}) {
        EXPECT_NEAR(count_in_a_millisecond(place, words), 2 * turns / (cycles_of_word + 8), 1);
    }
}
#endif

TEST(SimulatedFlash, ignoresWhatIsAskedOfABusyControllerEvenIfItNeverGetsReady)
{
    {
        HaltedChip bench{"BIRCH_M1_VA_REV2", "flash_fill = 0\n"};
        set_flash(flash_config, 2);
        write_word(flash_erase_page, 0x1000);
        write_word(flash_erase_page, 0x2000);
        write_word(flash_config, 0);
        EXPECT_EQ(read_word(flash_config), 2U);
        EXPECT_EQ(bench.peek_word(0x2000), 0U);
        EXPECT_THAT(bench.take_records(), begin_with("flash-busy", "flash-busy"));
    }
    HaltedChip bench{"BIRCH_M1_VA_REV2", "faults = [\"flash_never_ready\"]\n"};
    write_word(flash_config, 1);
    write_word(0x1000, 0);
    for (int polls = 0; polls < 100; ++polls) {
        ASSERT_EQ(read_word(flash_ready), 0U);
    }
    EXPECT_EQ(read_word(0x1000), blank);
    EXPECT_THAT(bench.take_records(), begin_with("flash-busy"));
}

TEST(BlockProtection, holdsUntilTheChipsWayOfReleasingIt)
{
    struct Case
    {
        const char* version;
        std::uint32_t disable_register; ///< 0: the chip has none, and any reset releases
    };
    for (const auto& [version, disable_register] :
         {Case{"BIRCH_M1_VA_REV2", 0x40000608}, Case{"BIRCH_M3_VA_REV1", 0x40000608},
          Case{"BIRCH_M2_VA_ENGA", 0x4001E704}, Case{"BIRCH_M2_VA_REV1", 0}}) {
        SCOPED_TRACE(version);
        HaltedChip bench{version, "flash_fill = 0xF0\nprotected_blocks = [1]\n"};
        const auto try_to_change = [&] {
            program_word(0x1000, 0);
            program_word(0x2000, 0);
            set_flash(flash_config, 2);
            set_flash(flash_erase_page, 0x1000);
            set_flash(flash_erase_all, 1);
            set_flash(flash_config, 0);
        };
        try_to_change();
        EXPECT_EQ(read_word(0x1000), 0xF0F0F0F0);
        EXPECT_EQ(read_word(0x2000), 0U);
        EXPECT_THAT(bench.take_records(), begin_with("flash-block-protected: write", "flash-block-protected: ERASEPAGE",
                                                     "flash-block-protected: ERASEALL"));
        if (disable_register != 0) {
            ASSERT_GE(JLINKARM_Reset(), 0); // not enough by itself
            try_to_change();
            EXPECT_EQ(bench.take_records().size(), 3U);
            write_word(disable_register, 1);
        }
        ASSERT_GE(JLINKARM_Reset(), 0);
        set_flash(flash_config, 2);
        set_flash(flash_erase_all, 1);
        EXPECT_EQ(read_word(0x1000), blank);

        JLINKSIM_power_cycle(TempBench::serial_number);
        ASSERT_GE(JLINKARM_Connect(), 0);
        program_word(0x1000, 0);
        EXPECT_EQ(read_word(0x1000), blank);
        EXPECT_EQ(bench.take_records().size(), 1U);
    }
}

} // namespace
} // namespace tessit_test
