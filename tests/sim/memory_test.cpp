#include "tests/sim/target_session.h"

#include <array>
#include <vector>

namespace tessit_test {
namespace {

using testing::StartsWith;

TEST(SimulatedMemory, answersBytesAtAnyAddressAndAcrossAreas)
{
    const HaltedChip bench{"BIRCH_M3_VA_REV1", "ficr = { \"0x060\" = 7 }\n"};
    EXPECT_EQ(read_word(0x10000060), 7U);
    const std::array<std::uint8_t, 5> written{1, 2, 3, 4, 5};
    EXPECT_EQ(JLINKARM_WriteMem(ram + 3, written.size(), written.data()), 5);
    std::array<std::uint8_t, 5> read{};
    EXPECT_EQ(JLINKARM_ReadMem(ram + 3, read.size(), read.data()), 0);
    EXPECT_EQ(read, written);
    EXPECT_EQ(bench.peek(ram + 3, 5), std::vector<std::uint8_t>(written.begin(), written.end()));

    // The last word of the FICR and the first of the UICR.
    std::array<std::uint8_t, 8> border{};
    EXPECT_EQ(JLINKARM_ReadMem(0x10000FFC, border.size(), border.data()), 0);
    // Registers can be read in part.
    std::uint8_t byte = 0;
    EXPECT_EQ(JLINKARM_ReadMem(flash_ready, 1, &byte), 0);
    EXPECT_EQ(byte, 1);
}

TEST(SimulatedMemory, startsAsAPatternThatDependsOnTheAddress)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    std::vector<std::uint32_t> words;
    for (std::uint32_t offset = 0; offset < 0x10000; offset += 0x1000) {
        words.push_back(bench.peek_word(ram + offset));
    }
    std::ranges::sort(words);
    EXPECT_EQ(std::ranges::adjacent_find(words), words.end());
}

TEST(SimulatedMemory, refusesAndRecordsAddressesThatNothingAnswers)
{
    HaltedChip bench{"BIRCH_M3_VA_REV1"};
    std::array<std::uint8_t, 8> buffer{};
    std::uint32_t value = 0;
    std::uint8_t status = 0;
    // Behind flash and RAM, and a block that begins inside and ends outside.
    EXPECT_NE(JLINKARM_ReadMem(192 * 1024, 4, buffer.data()), 0);
    EXPECT_NE(JLINKARM_ReadMem(ram + 0x6000 - 4, 8, buffer.data()), 0);
    EXPECT_LT(JLINKARM_WriteMem(ram + 0x6000, 4, buffer.data()), 0);
    EXPECT_NE(JLINKARM_WriteU32(0x30000000, 1), 0);
    EXPECT_EQ(JLINKARM_ReadMemU32(0x30000000, 1, &value, &status), 0);
    EXPECT_EQ(status, 1);
    EXPECT_THAT(bench.take_records(), testing::Each(StartsWith("address-unmapped: ")));
    // Peripheral space answers everywhere; what is reserved is recorded.
    EXPECT_EQ(read_word(0x40003000), 0U);
    write_word(0x4001E444, 1);
    write_word(flash_ready, 0);
    EXPECT_EQ(JLINKARM_WriteMem(flash_config, 1, buffer.data()), 1);
    EXPECT_THAT(bench.take_records(),
                begin_with("address-unmapped: ", "register-reserved: ", "register-read-only: ", "register-not-word: "));
}

TEST(SimulatedMemory, survivesEveryArgument)
{
    HaltedChip bench;
    std::array<std::uint32_t, 2> words{};
    EXPECT_EQ(JLINKARM_ReadMem(0, 0, nullptr), 0);
    EXPECT_NE(JLINKARM_ReadMem(0, 4, nullptr), 0);
    EXPECT_NE(JLINKARM_ReadMem(0xFFFFFFFE, 4, words.data()), 0);
    EXPECT_EQ(JLINKARM_ReadMem(0xFFFFFFFC, 4, words.data()), 0);
    EXPECT_EQ(JLINKARM_ReadMem(0xFFFFFFFF, 1, words.data()), 0);
    EXPECT_LT(JLINKARM_ReadMemU32(0, 1, nullptr, nullptr), 0);
    EXPECT_EQ(JLINKARM_ReadMemU32(0, 2, words.data(), nullptr), 2);
    EXPECT_LT(JLINKARM_ReadMemU32(0xFFFFFFFC, 2, words.data(), nullptr), 0);
    EXPECT_EQ(JLINKARM_WriteMem(ram, 0, nullptr), 0);
    EXPECT_LT(JLINKARM_WriteMem(ram, 4, nullptr), 0);
    EXPECT_LT(JLINKARM_WriteMem(0xFFFFFFFC, 8, words.data()), 0);
    EXPECT_EQ(JLINKARM_GetHWStatus(nullptr), 1);
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(0, 0, nullptr), 0);
    EXPECT_LT(JLINKARM_CORESIGHT_WriteAPDPReg(4, 0, 0), 0);
    EXPECT_EQ(JLINKARM_EMU_GetList(1, nullptr, 5), 1);
    EXPECT_LT(JLINKARM_ExecCommand(nullptr, nullptr, -1), 0);
    EXPECT_EQ(JLINKARM_ReadReg(19), 0U);
    EXPECT_EQ(JLINKARM_WriteReg(0xFFFFFFFF, 0), 1);
    EXPECT_LT(JLINKSIM_peek(TempBench::serial_number, ram, nullptr, 4), 0);
    EXPECT_LT(JLINKSIM_describe_probe(0, nullptr), 0);
    EXPECT_LT(JLINKSIM_inject_fault(nullptr), 0);
    EXPECT_STREQ(JLINKSIM_trace_line(7), "");
    char small[4] = "xxx";
    JLINKARM_GetFirmwareString(small, sizeof small);
    EXPECT_STREQ(small, "J-L");
    JLINKARM_GetFirmwareString(nullptr, 10);
    bench.take_records();
}

} // namespace
} // namespace tessit_test
