#include "tests/sim/qspi_board.h"

#include <algorithm>
#include <span>

namespace tessit_test {
namespace {

TEST(SimulatedQspi, movesBytesAtTheEndOfItsTasksAndTakesTheirTimeOnTheLines)
{
    const HaltedChip bench{m2, small_flash};
    struct Case
    {
        std::uint32_t modes, divider, clocks; ///< of a read of 4096 bytes
    };
    for (const Case& mode : {Case{0, 15, 8 + 24 + 8 + 4096 * 8}, Case{1, 15, 8 + 24 + 8 + 4096 * 4},
                             Case{4 | 1 << 6, 7, 8 + 8 + 6 + 4096 * 2}}) {
        SCOPED_TRACE(mode.modes);
        start(mode.modes);
        if ((mode.modes >> 6) != 0) {
            instruct(0xB7);
        }
        write_word(qspi + 0x600, 0x00040400 | mode.divider << 28);
        set_transfer(0x504, 0, ram, 4096);
        write_word(ready_event, 0);
        write_word(ram, 0x12345678);
        const std::uint64_t begin = JLINKSIM_time_ns();
        write_word(start_read, 1);
        EXPECT_EQ(read_word(ram), 0x12345678U);
        EXPECT_TRUE(gets_ready());
        const std::uint64_t took = JLINKSIM_time_ns() - begin;
        EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
        const std::uint64_t on_lines = mode.clocks * (mode.divider + 1) * 125 / 4;
        EXPECT_GE(took, on_lines);
        EXPECT_LT(took, on_lines + 700'000); // the start, and one poll too many
    }
}

TEST(SimulatedQspi, doesNothingUntilPinsEnableAndActivationAreRight)
{
    HaltedChip bench{m2, small_flash};
    configure_lines();
    set_transfer(0x504, 0, ram, 4);
    struct Case
    {
        std::uint32_t address, value; ///< set before
        std::uint32_t task;
        const char* record;
    };
    const auto expect_refused = [&](const Case& refused) {
        SCOPED_TRACE(refused.record);
        write_word(refused.address, refused.value);
        EXPECT_FALSE(run_task(refused.task));
        EXPECT_THAT(bench.take_records(), begin_with(refused.record));
    };
    for (const Case& refused : {
             Case{enable, 0, activate, "qspi-disabled: TASKS_ACTIVATE"},
             Case{enable, 0, start_read, "qspi-disabled: TASKS_READSTART"},
             Case{enable, 1, start_read, "qspi-inactive: TASKS_READSTART"},
             Case{enable, 1, start_erase, "qspi-inactive: TASKS_ERASESTART"},
             Case{csn_pin, 0x2, activate, "qspi-pin: TASKS_ACTIVATE while CSN has no pin"}, // without its drive
             Case{csn_select, 8, activate, "qspi-pin: TASKS_ACTIVATE while CSN has the pin of another line"},
             Case{csn_select, 0x31, activate, "qspi-pin: TASKS_ACTIVATE while CSN has no pin"}, // beyond port 1
         }) {
        expect_refused(refused);
    }
    start();
    write_word(enable, 0);
    EXPECT_THAT(bench.take_records(), begin_with("qspi-still-active"));
    start();
    write_word(deactivate, 1);
    write_word(enable, 0);
    EXPECT_THAT(bench.take_records(), begin_with("qspi-lines-held"));
    write_word(release_lines, 1);
    expect_refused({enable, 1, start_write, "qspi-inactive: TASKS_WRITESTART"});
}

TEST(SimulatedQspi, recordsTasksThatAreStartedWrongly)
{
    QspiBoard bench;
    // Carried out, but a host that polls sees the event of the task before.
    set_transfer(0x504, 0, ram, 4);
    write_word(start_read, 1);
    EXPECT_THAT(bench.take_records(), begin_with("qspi-ready-not-cleared: TASKS_READSTART"));
    EXPECT_TRUE(gets_ready());
    EXPECT_EQ(read_word(ram), 0xFFFFFFFF);

    struct Case
    {
        std::uint32_t flash_address, ram_address, count;
        const char* record;
    };
    for (const Case& wrong : {
             Case{1, ram, 4, "qspi-transfer-not-word"},
             Case{0, ram + 2, 4, "qspi-transfer-not-word"},
             Case{0, ram, 5, "qspi-transfer-not-word"},
             Case{0, ram, 0, "qspi-transfer-not-word"},
             Case{0, 0x1000, 4, "qspi-transfer-not-ram"},
             Case{0, ram + 0x3FFFC, 8, "qspi-transfer-not-ram"},
         }) {
        EXPECT_FALSE(read_flash(wrong.flash_address, wrong.count, wrong.ram_address));
        EXPECT_FALSE(write_flash(wrong.flash_address, wrong.count, wrong.ram_address));
        EXPECT_THAT(bench.take_records(), begin_with(wrong.record, wrong.record));
    }
    EXPECT_FALSE(erase_flash(0, 3));
    write_word(interface_0, 7);
    EXPECT_FALSE(read_flash(0, 4));
    EXPECT_THAT(bench.take_records(), begin_with("qspi-erase-length", "qspi-mode-reserved"));
    write_word(interface_0, 0);

    // Sixteen pages take longer than a call.
    set_transfer(0x510, 0, ram + 0x1000, 4096);
    write_word(ready_event, 0);
    write_word(start_write, 1);
    write_word(start_read, 1);
    EXPECT_TRUE(gets_ready());
    EXPECT_THAT(bench.take_records(), begin_with("qspi-busy: TASKS_READSTART"));
}

TEST(SimulatedQspi, sendsInstructionsOfUpToNineBytesOnTheFirstEngineeringSampleToo)
{
    for (const char* const version : {m2, "BIRCH_M2_VA_ENGA"}) {
        QspiBoard bench{small_flash, version};
        EXPECT_THAT(instruct(0x9F, {0, 0, 0}), testing::ElementsAre(0x5A, 0x51, 16));
        instruct(0x06);
        EXPECT_EQ(status(), 2); // write enable latch
        instruct(0x02, {0x00, 0x10, 0x00, 1, 2, 3, 4, 5});
        wait_for_serial_flash();
        EXPECT_EQ(status(), 0); // the latch is gone
        EXPECT_THAT(instruct(0x03, {0x00, 0x10, 0x01, 0, 0, 0, 0, 0}), testing::Contains(5));
        const bool is_first = version != m2;
        for (const std::uint32_t wrong : {0x005U, 0xA05U, 0xF05U, is_first ? 0x1099FU : 0x10A05U}) {
            write_word(ready_event, 0);
            write_word(custom, wrong);
            EXPECT_EQ(read_word(ready_event), 0U);
            EXPECT_THAT(bench.take_records(),
                        begin_with(wrong == 0x1099F ? "qspi-long-frame-unsupported" : "qspi-custom-length"));
        }
    }
}

TEST(SimulatedQspi, keepsWhatItIsGivenAndSendsLongFramesStepByStep)
{
    constexpr std::uint32_t long_frame = 1U << 16;
    constexpr std::uint32_t frame_end = long_frame | 1U << 17;
    QspiBoard bench;
    const std::vector<std::uint8_t> bytes = pattern(1000);
    put_ram(ram + 0x1000, bytes);
    EXPECT_TRUE(write_flash(0xF0, 1000)); // over five pages
    wait_for_serial_flash();
    EXPECT_TRUE(read_flash(0xEC, 1008));
    EXPECT_EQ(ram_bytes(ram + 4, 1000), bytes);
    EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
    EXPECT_EQ(read_word(ram + 1004), 0xFFFFFFFF);

    const std::vector<std::uint8_t> first = instruct(0x03, {0, 0, 0xF0, 0, 0, 0, 0, 0}, long_frame);
    EXPECT_TRUE(std::equal(first.begin() + 3, first.end(), bytes.begin()));
    const std::vector<std::uint8_t> second = instruct(0x03, {0, 0, 0, 0}, long_frame);
    EXPECT_TRUE(std::ranges::equal(second, std::span{bytes}.subspan(5, 4)));
    write_word(custom, 0x103 | frame_end); // no task: the ready event need not be cleared for it
    EXPECT_EQ(instruct(0x9F, {0}).front(), 0x5A) << "a frame of its own again";
    instruct(0x03, {0, 0, 0xF0, 0}, long_frame);
    EXPECT_EQ(instruct(0x03, {0, 0}, frame_end).back(), bytes[2]) << "a step that ends its frame";
    EXPECT_EQ(instruct(0x9F, {0}).front(), 0x5A);

    const auto leave_open = [] { instruct(0x03, {0, 0, 0, 0}, long_frame); };
    leave_open();
    instruct(0x9F, {0});
    leave_open();
    EXPECT_TRUE(read_flash(0, 4));
    leave_open();
    write_word(deactivate, 1);
    EXPECT_THAT(bench.take_records(),
                begin_with("qspi-long-frame-open: CINSTRCONF", "qspi-long-frame-open: TASKS_READSTART",
                           "qspi-long-frame-open: TASKS_DEACTIVATE"));
}

TEST(SimulatedQspi, isReadyAgainWhileTheFlashStillErases)
{
    QspiBoard bench{"external_flash = { size = 131072, wip_bit = 5 }\n"};
    constexpr std::uint64_t durations[]{45'000'000, 150'000'000, 300'000'000};
    for (std::uint32_t length = 0; length < std::size(durations); ++length) {
        const std::uint64_t begin = JLINKSIM_time_ns();
        EXPECT_TRUE(erase_flash(0x10000, length));
        EXPECT_LT(JLINKSIM_time_ns() - begin, 2'000'000U);
        EXPECT_EQ(status(), 0x20);
        EXPECT_TRUE(read_flash(0, 4)); // nobody answers, the lines are high
        EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
        EXPECT_THAT(bench.take_records(), begin_with("serial-flash-busy: fast read"));
        while (status() != 0) {
        }
        const std::uint64_t took = JLINKSIM_time_ns() - begin;
        EXPECT_GE(took, durations[length]);
        EXPECT_LT(took, durations[length] + 5'000'000);
    }
}

TEST(SimulatedQspi, neverGetsReadyWhenTheBenchSaysSo)
{
    const HaltedChip bench{m2, "faults = [\"qspi_never_ready\"]\n" + std::string{small_flash}};
    configure_lines();
    write_word(enable, 1);
    EXPECT_FALSE(run_task(activate));
}

class SimulatedSerialFlash : public testing::Test
{
protected:
    void program(std::uint32_t address, const std::vector<std::uint8_t>& data)
    {
        instruct(0x06);
        std::vector<std::uint8_t> frame{static_cast<std::uint8_t>(address >> 16),
                                        static_cast<std::uint8_t>(address >> 8), static_cast<std::uint8_t>(address)};
        frame.insert(frame.end(), data.begin(), data.end());
        instruct(0x02, frame);
        wait_for_serial_flash();
    }
    std::uint32_t word(std::uint32_t address)
    {
        EXPECT_TRUE(read_flash(address, 4));
        return read_word(ram);
    }

    QspiBoard bench;
};

TEST_F(SimulatedSerialFlash, clearsBitsOnlyAndWrapsWithinThePage)
{
    program(0x1000, {0xF0, 0x55});
    program(0x1000, {0x3C, 0xFF});
    EXPECT_EQ(word(0x1000), 0xFFFF5530);
    program(0x20FE, {1, 2, 3, 4});
    EXPECT_EQ(word(0x2000), 0xFFFF0403);
    EXPECT_EQ(word(0x20FC), 0x0201FFFFU);
    EXPECT_EQ(word(0x10000 + 0x2000), 0xFFFF0403); // it has no line for that address bit
    EXPECT_THAT(bench.take_records(), begin_with("serial-flash-bits-not-erased: 0x00001000 gets 0x3C",
                                                 "serial-flash-page-wrapped", "serial-flash-beyond-end"));
}

TEST_F(SimulatedSerialFlash, needsAWriteEnableForEachChange)
{
    instruct(0x20, {0, 0, 0});
    program(0x1000, {0});
    instruct(0x52, {0, 0, 0});
    instruct(0x06);
    instruct(0x04);
    instruct(0xD8, {0, 0, 0});
    EXPECT_THAT(bench.take_records(),
                begin_with("serial-flash-not-enabled: 4 KiB erase", "serial-flash-not-enabled: 32 KiB erase",
                           "serial-flash-not-enabled: 64 KiB erase"));
    EXPECT_EQ(word(0x1000), 0xFFFFFF00);
    instruct(0x06);
    instruct(0x20, {0x00, 0x1F, 0xFF});
    wait_for_serial_flash();
    EXPECT_EQ(word(0x1000), 0xFFFFFFFF);
}

TEST_F(SimulatedSerialFlash, ignoresFramesThatItDoesNotKnow)
{
    instruct(0x77);
    instruct(0x06);
    instruct(0xD8, {0, 0});
    instruct(0xD8, {0, 0, 0, 0});
    instruct(0x02, {0, 0, 0});
    EXPECT_EQ(status(), 2);
    EXPECT_THAT(bench.take_records(),
                begin_with("serial-flash-unknown: instruction 0x77", "serial-flash-frame: 64 KiB erase",
                           "serial-flash-frame: 64 KiB erase", "serial-flash-frame: page"));
}

TEST_F(SimulatedSerialFlash, takesFourAddressBytesWhenItIsTold)
{
    program(0x1234, {0xAB});
    write_word(interface_0, 1 << 6);
    EXPECT_TRUE(read_flash(0x1234, 4));
    EXPECT_THAT(bench.take_records(), begin_with("qspi-address-mode: TASKS_READSTART"));
    instruct(0xB7);
    EXPECT_EQ(word(0x1234), 0xFFFFFFAB);
    EXPECT_EQ(instruct(0x03, {0, 0, 0x12, 0x34, 0}).back(), 0xAB);
    instruct(0xE9);
    EXPECT_EQ(instruct(0x03, {0, 0x12, 0x34, 0}).back(), 0xAB);
}

} // namespace
} // namespace tessit_test
