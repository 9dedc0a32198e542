#include "tests/sim/target_session.h"

#include <array>
#include <functional>

namespace tessit_test {
namespace {

using testing::HasSubstr;

constexpr const char* three_probes = R"(
[[probe]]
serial = 11
plugged = false
[probe.chip]
version = "BIRCH_M1_VA_REV2"
[[probe]]
serial = 22
firmware = "J-Link of the second"
supply_mv = 1800
[probe.chip]
version = "BIRCH_M2_VA_REV1"
[[probe]]
serial = 33
)";

TEST(Session, listsThePluggedProbes)
{
    const TempBench bench{three_probes};
    EXPECT_EQ(JLINKARM_EMU_GetNumDevices(), 2U);
    std::array<jlinkarm_probe_record_t, 3> probes{};
    EXPECT_EQ(JLINKARM_EMU_GetList(1, probes.data(), 3), 2);
    EXPECT_EQ(probes[0].serial_number, 22U);
    EXPECT_EQ(probes[1].serial_number, 33U);
    EXPECT_EQ(probes[1].connection, 1U) << "USB";
    // A short array is not overrun, and the count is that of the probes.
    probes = {};
    EXPECT_EQ(JLINKARM_EMU_GetList(1, probes.data(), 1), 2);
    EXPECT_EQ(probes[1].serial_number, 0U);
    EXPECT_EQ(JLINKARM_EMU_GetList(2, probes.data(), 3), 0) << "no probe is on IP";
    ASSERT_EQ(JLINKSIM_set_plugged(11, 1), 0);
    EXPECT_EQ(JLINKARM_EMU_GetNumDevices(), 3U);
    EXPECT_EQ(sizeof probes[0], 264U);
}

TEST(Session, opensTheSelectedProbeElseTheFirst)
{
    const TempBench bench{three_probes};
    ASSERT_TRUE(open_probe());
    EXPECT_EQ(JLINKARM_GetSN(), 22);
    std::array<char, 64> text{};
    JLINKARM_GetFirmwareString(text.data(), text.size());
    EXPECT_STREQ(text.data(), "J-Link of the second");
    jlinkarm_hardware_status_t status{};
    EXPECT_EQ(JLINKARM_GetHWStatus(&status), 0);
    EXPECT_EQ(status.supply_millivolts, 1800);
    JLINKARM_Close();
    EXPECT_EQ(JLINKARM_IsOpen(), 0);

    EXPECT_EQ(JLINKARM_EMU_SelectByUSBSN(33), 0);
    ASSERT_TRUE(open_probe());
    EXPECT_EQ(JLINKARM_GetSN(), 33);
    EXPECT_LT(JLINKARM_Connect(), 0) << "there is no chip";
    JLINKARM_Close();

    EXPECT_LT(JLINKARM_EMU_SelectByUSBSN(11), 0);
    EXPECT_LT(JLINKARM_EMU_SelectByUSBSN(44), 0);
    ASSERT_EQ(JLINKSIM_set_plugged(33, 0), 0);
    EXPECT_THAT(JLINKARM_OpenEx(nullptr, nullptr), HasSubstr("33"));
}

TEST(Session, refusesCallsWithoutProbeOrConnectionAndRecordsThem)
{
    struct Call
    {
        const char* name;
        std::function<bool()> fails;
        bool needs_connection;
    };
    std::uint32_t value = 0;
    const std::array calls{
        Call{"Connect", [] { return JLINKARM_Connect() < 0; }, false},
        Call{"GetSN", [] { return JLINKARM_GetSN() < 0; }, false},
        Call{"GetHWStatus",
             [] {
                 jlinkarm_hardware_status_t s;
                 return JLINKARM_GetHWStatus(&s) == 1;
             },
             false},
        Call{"ExecCommand", [] { return !command("InvalidateCache").empty(); }, false},
        Call{"CORESIGHT_Configure", [] { return JLINKARM_CORESIGHT_Configure("") < 0; }, false},
        Call{"ReadAPDPReg", [&] { return JLINKARM_CORESIGHT_ReadAPDPReg(0, 0, &value) < 0; }, false},
        Call{"WriteAPDPReg", [] { return JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, 0) < 0; }, false},
        Call{"IsHalted", [] { return static_cast<std::int8_t>(JLINKARM_IsHalted()) < 0; }, true},
        Call{"Halt", [] { return JLINKARM_Halt() != 0; }, true},
        Call{"Step", [] { return JLINKARM_Step() != 0; }, true},
        Call{"ReadMem", [&] { return JLINKARM_ReadMem(0, 4, &value) != 0; }, true},
        Call{"ReadMemU32", [&] { return JLINKARM_ReadMemU32(0, 1, &value, nullptr) < 0; }, true},
        Call{"WriteMem", [&] { return JLINKARM_WriteMem(ram, 4, &value) < 0; }, true},
        Call{"WriteU32", [] { return JLINKARM_WriteU32(ram, 4) != 0; }, true},
        Call{"WriteReg", [] { return JLINKARM_WriteReg(0, 0) == 1; }, true},
        Call{"Reset", [] { return JLINKARM_Reset() < 0; }, true},
    };
    TempBench bench{three_probes};
    for (const Call& call : calls) {
        EXPECT_TRUE(call.fails()) << call.name;
        EXPECT_THAT(bench.take_records(), begin_with("no-session: ")) << call.name;
    }
    ASSERT_TRUE(open_probe());
    for (const Call& call : calls) {
        if (call.needs_connection) {
            EXPECT_TRUE(call.fails()) << call.name;
            EXPECT_THAT(bench.take_records(), begin_with("not-connected: ")) << call.name;
        }
    }
}

TEST(Session, connectsOnlyWhenItIsSetUpAndTheChipAnswers)
{
    struct Case
    {
        const char* why;
        const char* chip_lines;
        std::function<void()> prepare;
        bool connects;
    };
    const std::array cases{
        Case{"all is well", "", [] {}, true},
        Case{"JTAG", "", [] { JLINKARM_TIF_Select(0); }, false},
        Case{"no supply", "", [] { JLINKSIM_set_supply(TempBench::serial_number, 1499); }, false},
        Case{"least supply", "", [] { JLINKSIM_set_supply(TempBench::serial_number, 1500); }, true},
        Case{"held in reset", "", [] { JLINKARM_TIF_Select(0), JLINKARM_ClrRESET(), JLINKARM_TIF_Select(1); }, false},
        Case{"defect", "faults = [\"connect_fails\"]\n", [] {}, false},
        Case{"protected", "protected = true\n", [] {}, false},
    };
    for (const Case& setup : cases) {
        const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", setup.chip_lines);
        ASSERT_TRUE(open_probe());
        setup.prepare();
        EXPECT_EQ(JLINKARM_Connect() >= 0, setup.connects) << setup.why;
        EXPECT_EQ(JLINKARM_IsConnected() != 0, setup.connects) << setup.why;
    }
}

TEST(Session, knowsItsCommandsAndNoOthers)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    ASSERT_TRUE(open_probe());
    for (const char* const text :
         {"Device = BIRCH_M3_VA", "SetRestartOnClose = 1", "DisableFlashDL", "SetDbgPowerDownOnClose = 0",
          "ExcludeFlashCacheRange 0x0-0xFFFFFFFF", "InvalidateCache", "SetRTTSearchRanges 0x20000000 0x10000",
          "SetRTTSearchRanges 0x20000000 0x8000, 0x08000000 0x8000", "SilentUpdateFW", "SetBatchMode = 1",
          "SetBatchMode = 0"}) {
        EXPECT_EQ(command(text), "") << text;
    }
    for (const char* const text :
         {"", "Invalidate", "Device = OAK", "Device", "SetRestartOnClose = 2", "SetRestartOnClose",
          "ExcludeFlashCacheRange 5", "ExcludeFlashCacheRange 0x10-0x0", "SetRTTSearchRanges",
          "SetRTTSearchRanges 0x20000000", "SetRTTSearchRanges 0x20000000 0", "InvalidateCache now"}) {
        EXPECT_NE(command(text), "") << text;
    }
    EXPECT_THAT(bench.take_records(),
                begin_with("command-without-effect: SilentUpdateFW", "command-without-effect: SetBatchMode"));
    // The error text is cut to the buffer.
    std::array<char, 8> small{};
    EXPECT_LT(JLINKARM_ExecCommand("Nonsense", small.data(), 8), 0);
    EXPECT_STREQ(small.data(), "Unknown");
}

TEST(Session, thatDoesNotTellToLeaveFlashAloneCannotWriteItAndIsLostWhenTheProbeIsUnplugged)
{
    static std::string reported;
    reported.clear();
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    ASSERT_EQ(JLINKARM_OpenEx(nullptr, [](const char* text) { reported = text; }), nullptr);
    EXPECT_EQ(command("Device = BIRCH_M1_VA"), "");
    JLINKARM_TIF_Select(1);
    ASSERT_GE(JLINKARM_Connect(), 0);
    EXPECT_NE(JLINKARM_WriteU32(0x1000, 0), 0);
    EXPECT_THAT(bench.take_records(), begin_with("flash-download"));

    ASSERT_EQ(JLINKSIM_set_plugged(TempBench::serial_number, 0), 0);
    std::uint32_t value = 0;
    EXPECT_NE(JLINKARM_ReadMem(0, 4, &value), 0);
    EXPECT_THAT(reported, HasSubstr("600000011"));
    EXPECT_NE(JLINKARM_HasError(), 0);
    JLINKARM_ClrError();
    EXPECT_EQ(JLINKARM_HasError(), 0);
    EXPECT_EQ(JLINKARM_IsOpen(), 0);
    EXPECT_EQ(JLINKARM_IsConnected(), 0);
    EXPECT_EQ(JLINKARM_EMU_GetNumDevices(), 0U);
    // Back on USB, a new session works.
    ASSERT_EQ(JLINKSIM_set_plugged(TempBench::serial_number, 1), 0);
    EXPECT_EQ(JLINKARM_IsOpen(), 0);
    connect_halted();
}

} // namespace
} // namespace tessit_test
