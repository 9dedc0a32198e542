#include "tests/sim/target_session.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

namespace tessit_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint32_t qspi = 0x40029000;
constexpr std::uint32_t activate = qspi;
constexpr std::uint32_t start_read = qspi + 0x004;
constexpr std::uint32_t start_write = qspi + 0x008;
constexpr std::uint32_t start_erase = qspi + 0x00C;
constexpr std::uint32_t deactivate = qspi + 0x010;
constexpr std::uint32_t release_lines = qspi + 0x054;
constexpr std::uint32_t ready_event = qspi + 0x100;
constexpr std::uint32_t enable = qspi + 0x500;
constexpr std::uint32_t csn_select = qspi + 0x528;
constexpr std::uint32_t interface_0 = qspi + 0x544;
constexpr std::uint32_t custom = qspi + 0x634;
constexpr std::uint32_t custom_data = qspi + 0x638;
constexpr const char* small_flash = "external_flash = { size = 65536 }\n";

constexpr std::uint32_t select_offsets[]{0x524, 0x528, 0x530, 0x534, 0x538, 0x53C};

void configure_lines()
{
    for (std::uint32_t line = 0; line < 6; ++line) {
        write_word(0x50000700 + 4 * (8 + line), 0x302);
        write_word(qspi + select_offsets[line], 8 + line);
    }
}

/// The next polls see the ready event, unless it never comes.
bool gets_ready()
{
    for (int polls = 0; polls < 500; ++polls) {
        if (read_word(ready_event) != 0) {
            return true;
        }
    }
    return false;
}

bool run_task(std::uint32_t task)
{
    write_word(ready_event, 0);
    write_word(task, 1);
    return gets_ready();
}

void start(std::uint32_t configuration_0 = 0)
{
    connect_halted();
    configure_lines();
    write_word(interface_0, configuration_0);
    write_word(enable, 1);
    ASSERT_TRUE(run_task(activate));
}

/// A short instruction: what is sent, and what comes back, after the opcode.
std::vector<std::uint8_t> instruct(std::uint8_t opcode, std::vector<std::uint8_t> data = {}, std::uint32_t bits = 0)
{
    const auto length = static_cast<std::uint32_t>(data.size() + 1);
    data.resize(8);
    EXPECT_EQ(JLINKARM_WriteMem(custom_data, 8, data.data()), 8);
    write_word(ready_event, 0);
    write_word(custom, opcode | length << 8 | bits);
    EXPECT_TRUE(gets_ready());
    EXPECT_EQ(JLINKARM_ReadMem(custom_data, 8, data.data()), 0);
    data.resize(length - 1);
    return data;
}

std::uint8_t status()
{
    return instruct(0x05, {0}).front();
}

void wait_for_serial_flash()
{
    for (int polls = 0; (status() & 1) != 0; ++polls) {
        ASSERT_LT(polls, 1000);
    }
}

void set_transfer(std::uint32_t first_register, std::uint32_t a, std::uint32_t b, std::uint32_t count)
{
    write_word(qspi + first_register, a);
    write_word(qspi + first_register + 4, b);
    write_word(qspi + first_register + 8, count);
}

bool read_flash(std::uint32_t address, std::uint32_t count, std::uint32_t to = ram)
{
    set_transfer(0x504, address, to, count);
    return run_task(start_read);
}

bool write_flash(std::uint32_t address, std::uint32_t count, std::uint32_t from = ram + 0x1000)
{
    set_transfer(0x510, address, from, count);
    return run_task(start_write);
}

bool erase_flash(std::uint32_t address, std::uint32_t length)
{
    write_word(qspi + 0x51C, address);
    write_word(qspi + 0x520, length);
    return run_task(start_erase);
}

std::vector<std::uint8_t> ram_bytes(std::uint32_t address, std::uint32_t count)
{
    std::vector<std::uint8_t> bytes(count);
    EXPECT_EQ(JLINKARM_ReadMem(address, count, bytes.data()), 0);
    return bytes;
}

void put_ram(std::uint32_t address, const std::vector<std::uint8_t>& bytes)
{
    const auto count = static_cast<std::uint32_t>(bytes.size());
    EXPECT_EQ(JLINKARM_WriteMem(address, count, bytes.data()), static_cast<int>(count));
}

std::vector<std::uint8_t> pattern(std::uint32_t count)
{
    std::vector<std::uint8_t> bytes(count);
    std::uint32_t value = 1;
    std::ranges::generate(bytes,
                          [&] { return static_cast<std::uint8_t>((value = value * 1664525 + 1013904223) >> 24); });
    return bytes;
}

TEST(SimulatedQspi, movesBytesBetweenRamAndFlashWhichKeepsThem)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
    start();
    const std::vector<std::uint8_t> bytes = pattern(1000);
    put_ram(ram + 0x1000, bytes);
    EXPECT_TRUE(write_flash(0xF0, 1000)); // over five pages
    wait_for_serial_flash();
    EXPECT_TRUE(read_flash(0xEC, 1008));
    EXPECT_EQ(ram_bytes(ram + 4, 1000), bytes);
    EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
    EXPECT_EQ(read_word(ram + 1004), 0xFFFFFFFF);

    JLINKSIM_power_cycle(TempBench::serial_number);
    bench.reopen();
    start(1 << 12 | 3 << 3 | 4); // four lines, the other page size
    EXPECT_TRUE(read_flash(0xF0, 1000));
    EXPECT_EQ(ram_bytes(ram, 1000), bytes);
    EXPECT_TRUE(erase_flash(0, 2));
    wait_for_serial_flash();
    EXPECT_TRUE(read_flash(0xF0, 1000));
    EXPECT_THAT(ram_bytes(ram, 1000), Each(0xFF));
}

TEST(SimulatedQspi, isThereOnlyOnTheChipsThatHaveIt)
{
    TempBench bench = TempBench::with_chip("BIRCH_M3_VA_REV1");
    connect_halted();
    write_word(enable, 1);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("address-unmapped")));
}

TEST(SimulatedQspi, movesBytesAtTheEndOfItsTasksAndTakesTheirTimeOnTheLines)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
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
        JLINKARM_Close();
    }
}

TEST(SimulatedQspi, doesNothingUntilPinsEnableAndActivationAreRight)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
    connect_halted();
    const auto expect_refused = [&](std::uint32_t task, const char* record) {
        SCOPED_TRACE(record);
        EXPECT_FALSE(run_task(task));
        EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith(record)));
    };
    set_transfer(0x504, 0, ram, 4);
    expect_refused(activate, "qspi-disabled: TASKS_ACTIVATE");
    expect_refused(start_read, "qspi-disabled: TASKS_READSTART");
    write_word(enable, 1);
    expect_refused(activate, "qspi-pin: TASKS_ACTIVATE while CLK has no pin");
    configure_lines();
    expect_refused(start_read, "qspi-inactive: TASKS_READSTART");
    expect_refused(start_erase, "qspi-inactive: TASKS_ERASESTART");
    write_word(0x50000700 + 4 * 9, 0x2); // CSN's pin without its drive
    expect_refused(activate, "qspi-pin: TASKS_ACTIVATE while CSN has no pin");
    write_word(0x50000700 + 4 * 9, 0x302);
    write_word(csn_select, 8);
    expect_refused(activate, "qspi-pin: TASKS_ACTIVATE while CSN has the pin of another line");
    write_word(csn_select, 0x31); // port 1 has 16 pins
    expect_refused(activate, "qspi-pin: TASKS_ACTIVATE while CSN has no pin");
    write_word(csn_select, 9);
    EXPECT_TRUE(run_task(activate));

    write_word(enable, 0);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-still-active")));
    write_word(enable, 1);
    EXPECT_TRUE(run_task(activate));
    write_word(deactivate, 1);
    write_word(enable, 0);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-lines-held")));
    write_word(release_lines, 1);
    write_word(enable, 1);
    expect_refused(start_write, "qspi-inactive: TASKS_WRITESTART");
}

TEST(SimulatedQspi, recordsTasksThatAreStartedWrongly)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
    start();
    // Carried out, but a host that polls sees the event of the task before.
    set_transfer(0x504, 0, ram, 4);
    write_word(start_read, 1);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-ready-not-cleared: TASKS_READSTART")));
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
             Case{0, ram - 4, 8, "qspi-transfer-not-ram"},
             Case{0, ram + 0x3FFFC, 8, "qspi-transfer-not-ram"},
         }) {
        EXPECT_FALSE(read_flash(wrong.flash_address, wrong.count, wrong.ram_address));
        EXPECT_FALSE(write_flash(wrong.flash_address, wrong.count, wrong.ram_address));
        EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith(wrong.record), StartsWith(wrong.record)));
    }
    EXPECT_FALSE(erase_flash(0, 3));
    write_word(interface_0, 7);
    EXPECT_FALSE(read_flash(0, 4));
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-erase-length"), StartsWith("qspi-mode-reserved")));
    write_word(interface_0, 0);

    // Sixteen pages take longer than a call.
    set_transfer(0x510, 0, ram + 0x1000, 4096);
    write_word(ready_event, 0);
    write_word(start_write, 1);
    write_word(start_read, 1);
    EXPECT_TRUE(gets_ready());
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-busy: TASKS_READSTART")));
}

TEST(SimulatedQspi, sendsInstructionsOfUpToNineBytes)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
    start();
    EXPECT_THAT(instruct(0x9F, {0, 0, 0}), ElementsAre(0x5A, 0x51, 16));
    instruct(0x06);
    EXPECT_EQ(status(), 2); // write enable latch
    instruct(0x02, {0x00, 0x10, 0x00, 1, 2, 3, 4, 5});
    wait_for_serial_flash();
    EXPECT_EQ(status(), 0); // the latch is gone
    EXPECT_THAT(instruct(0x03, {0x00, 0x10, 0x01, 0, 0, 0, 0, 0}), testing::Contains(5));
    for (const std::uint32_t length : {0U, 10U, 15U}) {
        write_word(ready_event, 0);
        write_word(custom, 0x05 | length << 8);
        EXPECT_EQ(read_word(ready_event), 0U);
        EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-custom-length")));
    }
}

TEST(SimulatedQspi, sendsLongFramesStepByStep)
{
    constexpr std::uint32_t long_frame = 1U << 16;
    constexpr std::uint32_t frame_end = long_frame | 1U << 17;
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
    start();
    const std::vector<std::uint8_t> bytes = pattern(64);
    put_ram(ram + 0x1000, bytes);
    EXPECT_TRUE(write_flash(0, 64));
    wait_for_serial_flash();

    const std::vector<std::uint8_t> first = instruct(0x03, {0, 0, 0, 0, 0, 0, 0, 0}, long_frame);
    EXPECT_TRUE(std::equal(first.begin() + 3, first.end(), bytes.begin()));
    const std::vector<std::uint8_t> second = instruct(0x03, {0, 0, 0, 0}, long_frame);
    EXPECT_TRUE(std::ranges::equal(second, std::span{bytes}.subspan(5, 4)));
    write_word(custom, 0x103 | frame_end); // no task: the ready event need not be cleared for it
    EXPECT_EQ(instruct(0x9F, {0}).front(), 0x5A) << "a frame of its own again";
    instruct(0x03, {0, 0, 0, 0}, long_frame);
    EXPECT_EQ(instruct(0x03, {0, 0}, frame_end).back(), bytes[2]) << "a step that ends its frame";
    EXPECT_EQ(instruct(0x9F, {0}).front(), 0x5A);
    EXPECT_THAT(bench.take_records(), IsEmpty());

    const auto leave_open = [] { instruct(0x03, {0, 0, 0, 0}, long_frame); };
    leave_open();
    instruct(0x9F, {0});
    leave_open();
    EXPECT_TRUE(read_flash(0, 4));
    leave_open();
    write_word(deactivate, 1);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-long-frame-open: CINSTRCONF"),
                                                  StartsWith("qspi-long-frame-open: TASKS_READSTART"),
                                                  StartsWith("qspi-long-frame-open: TASKS_DEACTIVATE")));
}

TEST(SimulatedQspi, hasNoLongFramesOnTheFirstEngineeringSample)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_ENGA", small_flash);
    start();
    write_word(ready_event, 0);
    write_word(custom, 0x1099F);
    EXPECT_EQ(read_word(ready_event), 0U);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-long-frame-unsupported")));
    EXPECT_EQ(instruct(0x9F, {0, 0}).front(), 0x5A);
}

TEST(SimulatedQspi, isReadyAgainWhileTheFlashStillErases)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", "external_flash = { size = 131072, wip_bit = 5 }\n");
    start();
    struct Case
    {
        std::uint32_t length;
        std::uint64_t duration;
    };
    for (const Case& erase : {Case{0, 45'000'000}, Case{1, 150'000'000}, Case{2, 300'000'000}}) {
        const std::uint64_t begin = JLINKSIM_time_ns();
        EXPECT_TRUE(erase_flash(0x10000, erase.length));
        EXPECT_LT(JLINKSIM_time_ns() - begin, 2'000'000U);
        EXPECT_EQ(status(), 0x20);
        EXPECT_TRUE(read_flash(0, 4)); // nobody answers, the lines are high
        EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
        EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("serial-flash-busy: fast read")));
        while (status() != 0) {
        }
        const std::uint64_t took = JLINKSIM_time_ns() - begin;
        EXPECT_GE(took, erase.duration);
        EXPECT_LT(took, erase.duration + 5'000'000);
    }
}

TEST(SimulatedQspi, neverGetsReadyWhenBenchOrFlashSaySo)
{
    {
        const TempBench bench =
            TempBench::with_chip("BIRCH_M2_VA_REV1", "external_flash = { size = 65536, faults = [\"never_ready\"] }\n");
        start();
        EXPECT_EQ(status() & 1, 1);
        EXPECT_FALSE(write_flash(0, 4)) << "the write waits for the flash";
        write_word(deactivate, 1);
        write_word(release_lines, 1);
        write_word(enable, 0);
    }
    for (const char* const line : {"external_flash = { size = 65536, missing = true }\n", ""}) {
        const TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", line);
        start();
        EXPECT_EQ(status(), 0xFF);
        EXPECT_THAT(instruct(0x9F, {0, 0, 0}), Each(0xFF));
        EXPECT_TRUE(read_flash(0, 4));
        EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
    }
    const TempBench bench =
        TempBench::with_chip("BIRCH_M2_VA_REV1", "faults = [\"qspi_never_ready\"]\n" + std::string{small_flash});
    connect_halted();
    configure_lines();
    write_word(enable, 1);
    EXPECT_FALSE(run_task(activate));
}

class SimulatedSerialFlash : public testing::Test
{
protected:
    SimulatedSerialFlash() { start(); }

    void program(std::uint32_t address, const std::vector<std::uint8_t>& data)
    {
        instruct(0x06);
        std::vector<std::uint8_t> frame{static_cast<std::uint8_t>(address >> 16),
                                        static_cast<std::uint8_t>(address >> 8), static_cast<std::uint8_t>(address)};
        frame.insert(frame.end(), data.begin(), data.end());
        instruct(0x02, frame);
        wait_for_serial_flash();
    }

    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", small_flash);
};

TEST_F(SimulatedSerialFlash, clearsBitsOnlyAndWrapsWithinThePage)
{
    program(0x1000, {0xF0, 0x55});
    program(0x1000, {0x3C, 0xFF});
    EXPECT_TRUE(read_flash(0x1000, 4));
    EXPECT_EQ(read_word(ram), 0xFFFF5530);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("serial-flash-bits-not-erased: 0x3C to 0x00001000")));

    program(0x20FE, {1, 2, 3, 4});
    EXPECT_TRUE(read_flash(0x2000, 256));
    EXPECT_EQ(read_word(ram), 0xFFFF0403);
    EXPECT_EQ(read_word(ram + 252), 0x0201FFFFU);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("serial-flash-page-wrapped")));
    EXPECT_TRUE(read_flash(0x10000 + 0x2000, 4)); // it has no line for that address bit
    EXPECT_EQ(read_word(ram), 0xFFFF0403);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("serial-flash-beyond-end")));
}

TEST_F(SimulatedSerialFlash, needsAWriteEnableForEachChange)
{
    instruct(0x20, {0, 0, 0});
    program(0x1000, {0});
    instruct(0x52, {0, 0, 0});
    instruct(0x06);
    instruct(0x04);
    instruct(0xD8, {0, 0, 0});
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("serial-flash-not-enabled: 4 KiB erase"),
                                                  StartsWith("serial-flash-not-enabled: 32 KiB erase"),
                                                  StartsWith("serial-flash-not-enabled: 64 KiB erase")));
    EXPECT_TRUE(read_flash(0x1000, 4));
    EXPECT_EQ(read_word(ram), 0xFFFFFF00);
    instruct(0x06);
    instruct(0x20, {0x00, 0x1F, 0xFF});
    wait_for_serial_flash();
    EXPECT_TRUE(read_flash(0x1000, 4));
    EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
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
                ElementsAre(StartsWith("serial-flash-unknown: instruction 0x77"),
                            StartsWith("serial-flash-frame: 64 KiB erase"),
                            StartsWith("serial-flash-frame: 64 KiB erase"), StartsWith("serial-flash-frame: page")));
}

TEST_F(SimulatedSerialFlash, takesFourAddressBytesWhenItIsTold)
{
    program(0x1234, {0xAB});
    write_word(interface_0, 1 << 6);
    EXPECT_TRUE(read_flash(0x1234, 4));
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("qspi-address-mode: TASKS_READSTART")));
    instruct(0xB7);
    EXPECT_TRUE(read_flash(0x1234, 4));
    EXPECT_EQ(read_word(ram), 0xFFFFFFAB);
    EXPECT_EQ(instruct(0x03, {0, 0, 0x12, 0x34, 0}).back(), 0xAB);
    instruct(0xE9);
    EXPECT_EQ(instruct(0x03, {0, 0x12, 0x34, 0}).back(), 0xAB);
}

TEST(ProtectedSerialFlash, ignoresWritesAndErases)
{
    TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", "external_flash = { size = 65536, protected = true }\n");
    start();
    write_word(ram + 0x1000, 0);
    EXPECT_TRUE(write_flash(0, 4));
    EXPECT_TRUE(erase_flash(0, 0));
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("serial-flash-protected: page program"),
                                                  StartsWith("serial-flash-protected: 4 KiB erase")));
    EXPECT_TRUE(read_flash(0, 4));
    EXPECT_EQ(read_word(ram), 0xFFFFFFFF);
}

} // namespace
} // namespace tessit_test
