// What a host leaves on, does not wait for, or does at the wrong moment: each leaves its record, and nothing else does.
#include "tests/sim/qspi_board.h"

#include <functional>

namespace tessit_test {
namespace {

constexpr std::uint32_t exception_monitor = 0xE000EDFC;

struct Wrong
{
    const char* record;
    std::function<void()> act;
};

TEST(Strictness, recordsWhatIsLeftOnWhenTheFirmwareOrTheFieldTakesOver)
{
    const auto leave = [](std::uint32_t address, std::uint32_t value) { return [=] { write_word(address, value); }; };
    for (const Wrong& left : {
             Wrong{"flash-left-enabled", [] { set_flash(flash_config, 1); }},
             Wrong{"flash-left-unlocked", [] { set_flash(flash_key, 0x6E71); }},
             Wrong{"flash-not-waited", leave(flash_config, 0)},
             Wrong{"qspi-left-enabled", leave(enable, 1)},
         }) {
        SCOPED_TRACE(left.record);
        for (const std::function<void()>& moment : std::vector<std::function<void()>>{
                 [] { JLINKARM_Go(); }, [] { JLINKARM_Reset(); }, [] { pulse_reset_line(); }, [] { close_probe(); }}) {
            QspiBoard bench;
            write_word(deactivate, 1);
            write_word(release_lines, 1);
            write_word(enable, 0);
            left.act();
            moment();
            EXPECT_THAT(bench.take_records(), begin_with(left.record));
        }
    }
    for (const Wrong& left : {
             Wrong{"demcr-left-set", leave(exception_monitor, 1)},
             Wrong{"rtt-left-running",
                   [] {
                       write_word(exception_monitor, 0);
                       JLINK_RTTERMINAL_Control(0, nullptr);
                   }},
             Wrong{"debug-power-left",
                   [] {
                       write_word(exception_monitor, 0);
                       command("SetDbgPowerDownOnClose = 0");
                   }},
         }) {
        HaltedChip bench;
        left.act();
        JLINKARM_Close();
        EXPECT_THAT(bench.take_records(), begin_with(left.record));
        // It is that session's doing, and not the next one's.
        ASSERT_TRUE(open_probe());
        JLINKARM_Close();
    }
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    ASSERT_TRUE(open_probe());
    JLINKARM_TIF_Select(0);
    JLINKARM_ClrRESET();
    JLINKARM_Close();
    EXPECT_THAT(bench.take_records(), begin_with("reset-line-left-low"));
    ASSERT_TRUE(open_probe());
    EXPECT_LT(JLINKARM_Connect(), 0) << "nothing but SetRESET releases it";
}

TEST(Strictness, recordsWhatIsDoneAtTheWrongMoment)
{
    const auto ctrl_ap = [](std::uint32_t address, std::uint32_t value) {
        return [=] { write_port(1, static_cast<std::uint8_t>(address), value); };
    };
    for (const Wrong& wrong : {
             Wrong{"ctrl-ap-reset-connected", ctrl_ap(0, 1)},
             Wrong{"reset-line-interface", [] { JLINKARM_SetRESET(); }},
             Wrong{"reset-type",
                   [] {
                       JLINKARM_SetResetType(77);
                       EXPECT_LT(JLINKARM_Reset(), 0);
                   }},
             Wrong{"erase-all-no-edge",
                   [=] {
                       ctrl_ap(4, 1)();
                       JLINKSIM_pass_time(200'000'000);
                       EXPECT_EQ(read_port(1, 8), 0U);
                       ctrl_ap(4, 1)();
                       EXPECT_EQ(read_port(1, 8), 0U) << "it takes an edge";
                   }},
         }) {
        SCOPED_TRACE(wrong.record);
        HaltedChip bench;
        wrong.act();
        EXPECT_THAT(bench.take_records(), begin_with(wrong.record));
    }
}

TEST(Strictness, theErasesEndIsReadBeforeTheReset)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", "protected = true\n");
    ASSERT_TRUE(open_probe());
    power_debug_port();
    write_port(1, 0x04, 1);
    JLINKSIM_pass_time(200'000'000); // it is over, but nobody knows
    write_port(1, 0x00, 1);
    EXPECT_THAT(bench.take_records(), begin_with("erase-all-not-waited"));
}

TEST(Strictness, aPulseOnTheResetLineTakesItsTimeWhereRealTimeCounts)
{
    TempBench bench{"real_time = true\n" + TempBench::chip_toml("BIRCH_M1_VA_REV2", "")};
    ASSERT_TRUE(open_probe());
    JLINKARM_TIF_Select(0);
    JLINKARM_ClrRESET();
    JLINKSIM_pass_time(10'000'000);
    JLINKARM_SetRESET();
    EXPECT_TRUE(bench.take_records().empty());
    for (int pulses = 0; pulses < 10; ++pulses) { // a loaded host may sleep through one or the other
        JLINKARM_ClrRESET();
        JLINKARM_SetRESET();
    }
    EXPECT_THAT(bench.take_records(), testing::Contains(testing::StartsWith("reset-pulse-short")));
}

TEST(Strictness, resetTypesDiffer)
{
    struct Case
    {
        std::int32_t type;
        std::uint32_t reasons;
        bool resets_peripherals;
    };
    for (const Case& reset : {Case{8, 4, true}, Case{1, 0, false}, Case{2, 1, true}, Case{0, 1, true}}) {
        SCOPED_TRACE(reset.type);
        const HaltedChip bench;
        write_word(csn_pin, 0x302);
        JLINKARM_SetResetType(reset.type);
        ASSERT_GE(JLINKARM_Reset(), 0);
        EXPECT_EQ(JLINKARM_IsHalted(), 1);
        EXPECT_EQ(read_word(0x40000400), reset.reasons);
        EXPECT_EQ(read_word(csn_pin), reset.resets_peripherals ? 0x2U : 0x302U);
    }
}

TEST(Strictness, readsAreStaleUntilTheCacheIsInvalidated)
{
    const HaltedChip bench;
    const auto read = [](std::uint32_t address) {
        std::uint32_t value = 0;
        EXPECT_EQ(JLINKARM_ReadMem(address, 4, &value), 0);
        return value;
    };
    bench.poke_word(ram, 1);
    EXPECT_EQ(read(ram), 1U);
    bench.poke_word(ram, 2);
    EXPECT_EQ(read(ram), 1U);
    EXPECT_EQ(command("InvalidateCache"), "");
    EXPECT_EQ(read(ram), 2U);
    write_word(ram, 3);
    EXPECT_EQ(read(ram), 3U) << "what the host writes, the library knows";

    // The flash cache stays, where nobody has excluded it.
    close_probe();
    ASSERT_EQ(JLINKARM_OpenEx(nullptr, nullptr), nullptr);
    command("Device = BIRCH_M1_VA");
    command("ExcludeFlashCacheRange 0x1000-0x1FFF");
    JLINKARM_TIF_Select(1);
    ASSERT_GE(JLINKARM_Connect(), 0);
    for (const std::uint32_t address : {0x0U, 0x1000U}) {
        EXPECT_EQ(read(address), 0xFFFFFFFFU);
        bench.poke_word(address, 5);
        command("InvalidateCache");
        EXPECT_EQ(read(address), address == 0 ? 0xFFFFFFFFU : 5U);
    }
}

#if defined(TESSIT_SIM_CPU_UNICORN)
TEST(Strictness, recordsWhatIsTakenAwayFromARunningCpu)
{
    HaltedChip bench;
    bench.poke_word(0, 0x20001000);
    bench.poke_word(4, 0x9);
    bench.poke_word(8, 0xE7FDB401); // push {r0}; b back to it
    ASSERT_GE(JLINKARM_Reset(), 0);
    write_word(0x40000908, 1); // the section of its stack
    EXPECT_EQ(JLINKARM_Step(), 0);
    EXPECT_THAT(bench.take_records(), begin_with("ram-off: write of 4 bytes at 0x20000FFC"));
    write_word(0x40000904, 1);
    bench.poke_word(8, 0xE7FEE7FE);
    ASSERT_GE(JLINKARM_Reset(), 0);
    JLINKARM_Go();
    set_flash(flash_config, 2);
    set_flash(flash_erase_page, 0x1000);
    EXPECT_THAT(bench.take_records(), begin_with("flash-erase-under-cpu"));
}
#endif

TEST(Strictness, serialFlashesHearOnlyWhatTheyUnderstand)
{
    struct Case
    {
        const char* flash;
        std::uint32_t modes, configuration_1;
        const char* record;
    };
    for (const Case& wrong : {
             Case{"data_lines = 1", 3, 0x00040480, "serial-flash-lines"},
             Case{"spi_mode = 0", 0, 0x02040480, "serial-flash-spi-mode"},
             Case{"highest_khz = 8000", 0, 0x10040480, "serial-flash-too-fast"},
             Case{"deselect_ns = 300", 0, 0x00040404, "serial-flash-deselect-short"},
         }) {
        SCOPED_TRACE(wrong.record);
        QspiBoard bench{"external_flash = { size = 65536, " + std::string{wrong.flash} + " }\n"};
        write_word(ram, 0);
        write_word(interface_0, wrong.modes);
        write_word(qspi + 0x600, wrong.configuration_1);
        EXPECT_TRUE(read_flash(0, 4));
        EXPECT_THAT(bench.take_records(), begin_with(wrong.record));
    }
    QspiBoard bench;
    EXPECT_EQ(instruct(0x9F, {0}).front(), 0x5A);
    write_word(ready_event, 0);
    write_word(custom, 0x9F | 2U << 8 | 1U << 12);
    EXPECT_TRUE(gets_ready());
    write_word(ready_event, 0);
    write_word(custom, 0x06 | 1U << 8 | 1U << 13);
    EXPECT_TRUE(gets_ready());
    EXPECT_EQ(status() & 2, 0) << "not enabled";
    write_word(qspi + 0x640, 0x100);
    EXPECT_NE(instruct(0x9F, {0}).front(), 0x5A);
    EXPECT_THAT(bench.take_records(), begin_with("serial-flash-held", "serial-flash-write-pin", "qspi-timing"));
}

TEST(Strictness, tasksOfTheQspiAreWaitedFor)
{
    QspiBoard bench;
    const auto start_custom = [] {
        write_word(ready_event, 0);
        write_word(custom, 0x9F | 2U << 8 | 3U << 12);
    };
    start_custom();
    start_custom(); // long done, but nobody looked
    read_word(custom_data);
    EXPECT_THAT(bench.take_records(), begin_with("qspi-not-waited: clearing", "qspi-not-waited: read of CINSTRDAT"));
    EXPECT_TRUE(gets_ready());
    ASSERT_TRUE(erase_flash(0, 0));
    start_custom();
    write_word(deactivate, 1);
    EXPECT_THAT(bench.take_records(),
                begin_with("serial-flash-busy", "qspi-not-waited: the end", "serial-flash-left-erasing"));
}

} // namespace
} // namespace tessit_test
