#include "tests/sim/target_session.h"

namespace tessit_test {
namespace {

std::uint32_t read_debug(std::uint8_t index)
{
    std::uint32_t value = 0;
    EXPECT_EQ(JLINKARM_CORESIGHT_ReadAPDPReg(index, 0, &value), 0);
    return value;
}

class DebugPort : public testing::Test
{
protected:
    DebugPort() { EXPECT_TRUE(open_probe()); }

    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
};

TEST_F(DebugPort, answersOnlyAfterItWasConfigured)
{
    std::uint32_t value = 0;
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(0, 0, &value), 0);
    EXPECT_THAT(bench.take_records(), begin_with("coresight-unconfigured"));
    EXPECT_EQ(JLINKARM_CORESIGHT_Configure(""), 0);
    EXPECT_EQ(read_debug(0), 0x2BA01477U);
}

TEST_F(DebugPort, acknowledgesPowerRequestsAndRefusesAccessPortsWithoutThem)
{
    EXPECT_EQ(JLINKARM_CORESIGHT_Configure(""), 0);
    std::uint32_t value = 0;
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(3, 1, &value), 0);
    EXPECT_THAT(bench.take_records(), begin_with("debug-unpowered"));
    EXPECT_EQ(read_debug(1), 0x20U); // the sticky error of that access
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(0, 0, 4), 0);
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(1, 0, 0x50000000), 0);
    EXPECT_EQ(read_debug(1), 0xF0000000U);
    EXPECT_EQ(read_port(0, 0xFC), 0x24770011U);
    EXPECT_EQ(read_debug(3), 0x24770011U); // RDBUFF repeats the last answer
    EXPECT_EQ(read_port(7, 0xFC), 0U);     // an absent port
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, 3), 0);
    EXPECT_EQ(read_debug(1), 1U); // DLPIDR
    EXPECT_EQ(read_debug(0), 0x2BA01477U);
}

TEST_F(DebugPort, reachesMemoryThroughTheMemoryPort)
{
    power_debug_port();
    write_port(0, 0x00, 0x23000012); // words, counting up
    write_port(0, 0x04, ram + 0x3F8);
    for (const std::uint32_t value : {1U, 2U, 3U}) {
        write_port(0, 0x0C, value);
    }
    EXPECT_EQ(bench.peek_word(ram + 0x3F8), 1U);
    EXPECT_EQ(bench.peek_word(ram + 0x3FC), 2U);
    EXPECT_EQ(bench.peek_word(ram), 3U) << "the address counts within 1 KiB";

    write_port(0, 0x00, 0x23000010); // bytes, in their lanes
    write_port(0, 0x04, ram + 1);
    write_port(0, 0x0C, 0xAB00);
    EXPECT_EQ(bench.peek_word(ram), 0xAB03U);
    write_port(0, 0x04, ram + 1);
    EXPECT_EQ(read_port(0, 0x0C), 0xAB00U);
    write_port(0, 0x04, ram + 0x3F8);
    EXPECT_EQ(read_port(0, 0x1C), 2U); // banked: the last of the four words around the address
}

TEST_F(DebugPort, reportsAFaultOfTheBusAndRecovers)
{
    power_debug_port();
    write_port(0, 0x04, 0x30000000);
    std::uint32_t value = 0;
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(3, 1, &value), 0);
    EXPECT_THAT(bench.take_records(), begin_with("address-unmapped"));
    write_port(0, 0x04, 0x10000130);
    EXPECT_EQ(read_port(0, 0x0C), 6U);
}

TEST_F(DebugPort, losesItsPowerAtTheEndOfTheSessionWhenTheHostChoseSo)
{
    for (const bool power_down : {false, true}) {
        EXPECT_EQ(command(power_down ? "SetDbgPowerDownOnClose = 1" : "SetDbgPowerDownOnClose = 0"), "");
        ASSERT_GE(JLINKARM_Connect(), 0);
        close_probe();
        EXPECT_EQ(bench.take_records().size(), power_down ? 0U : 1U) << "debug-power-left";
        ASSERT_TRUE(open_probe());
        EXPECT_EQ(JLINKARM_CORESIGHT_Configure(""), 0);
        EXPECT_EQ(read_debug(1), power_down ? 0 : 0xF0000000U);
        EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(1, 0, 0), 0);
    }
}

} // namespace
} // namespace tessit_test
