#include "tests/src/library_test.h"

namespace tessit::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

using ProtectionTest = LibraryTest;

constexpr auto start_erase = "ap1=1";

std::ptrdiff_t count(const std::vector<std::string>& calls, std::string_view call)
{
    return std::ranges::count(calls, call);
}

TEST_F(ProtectionTest, ProtectingProgramsTheWordAndResetsFromAFreshSession)
{
    open_device();
    EXPECT_EQ(TESSIT_readback_protect(FULL), RESULT_OK);
    const auto made = calls();
    EXPECT_THAT(std::vector(made.begin(), made.begin() + 12),
                ElementsAre("[10000130]", "[10000134]", "[10000110]", "Halt()", "[4001E504]=1", "[4001E400]",
                            "[10001208]=FFFFFF00", "[4001E400]", "[4001E504]=0", "[4001E400]", "[E000EDFC]=0",
                            "Close()"));
    EXPECT_EQ(last_of(made), "ap0=0");
    EXPECT_FALSE(jlink.is_connected);
    EXPECT_TRUE(jlink.is_open);
}

TEST_F(ProtectionTest, ProtectingIsRefusedWhereItCannotBe)
{
    open_probe();
    use_chip(6, 3);
    EXPECT_EQ(TESSIT_readback_protect(FULL), ERR_UNSUPPORTED_ON_DEVICE);
    EXPECT_THAT(calls(), testing::Not(testing::Contains("Halt()")));
    TESSIT_close_dll();
    jlink.protect();
    open_probe();
    EXPECT_EQ(TESSIT_readback_protect(FULL), ERR_PROTECTED);
    EXPECT_THAT(log_messages(), IsEmpty());
}

TEST_F(ProtectionTest, RecoveringAConnectedDeviceCleansItWithoutTheControlAccessPort)
{
    open_device();
    jlink.protect();
    EXPECT_EQ(TESSIT_recover(), RESULT_OK);
    std::vector<std::string> writes;
    for (const std::string& call : calls()) {
        if (!call.starts_with("[4001E400]")) {
            writes.push_back(call);
        }
    }
    EXPECT_THAT(writes, ElementsAre("Halt()", "[4001E504]=2", "[4001E514]=1", "[4001E504]=0", "SetResetType(0x8)",
                                    "Reset()", "[4001E504]=2", "[4001E50C]=1", "[4001E504]=0", "SetResetType(0x8)",
                                    "Reset()", "[40000904]=FFFF", "[40000914]=FFFF", "[40000924]=FFFF",
                                    "[40000934]=FFFF", "[40000944]=FFFF", "[40000954]=FFFF", "[40000964]=FFFF",
                                    "[40000974]=FFFF", "[40000984]=FFFF", "[40000400]=FFFFFFFF"));
}

TEST_F(ProtectionTest, RecoveringAProtectedDeviceErasesItThroughTheControlAccessPort)
{
    jlink.protect();
    jlink.ctrl_ap[0x08] = 1;
    open_probe();
    int status_reads = 0;
    const auto read = jlink.JLINKARM_CORESIGHT_ReadAPDPReg;
    jlink.JLINKARM_CORESIGHT_ReadAPDPReg = [&](std::uint8_t index, std::uint8_t ap, std::uint32_t* data) {
        if (index == 2 && ++status_reads == 3) {
            jlink.ctrl_ap[0x08] = 0;
            jlink.ctrl_ap[0x0C] = 1;
        }
        return status_reads == 2 && index == 2 ? -1 : read(index, ap, data); // a failed read counts as busy
    };
    EXPECT_EQ(TESSIT_recover(), RESULT_OK);
    EXPECT_THAT(jlink.sleeps, ElementsAre(milliseconds{500}, milliseconds{500}, milliseconds{500}, milliseconds{10},
                                          milliseconds{10}));
    std::vector<std::string> port_writes;
    std::ranges::copy_if(jlink.calls, std::back_inserter(port_writes), [](const std::string& call) {
        return call.starts_with("ap") && call.find('=') != std::string::npos;
    });
    EXPECT_EQ(port_writes, (std::vector<std::string>{start_erase, "ap0=1", "ap0=0", "ap1=0"}));
    EXPECT_TRUE(jlink.is_connected);
    EXPECT_EQ(last_of(jlink.calls), "[40000400]=FFFFFFFF") << "and cleaned as any other";
}

TEST_F(ProtectionTest, AnEraseThatNeverEndsIsTriedThreeTimesOf20Polls)
{
    jlink.protect();
    jlink.ctrl_ap[0x08] = 1;
    open_probe();
    jlink.JLINKARM_Connect = [] { return -1; };
    EXPECT_EQ(TESSIT_recover(), ERR_RECOVER_FAILED);
    EXPECT_EQ(count(jlink.calls, start_erase), 3);
    EXPECT_EQ(std::ranges::count(jlink.sleeps, milliseconds{500}), 60);
    EXPECT_EQ(std::ranges::count(jlink.sleeps, milliseconds{10}), 6);
}

TEST_F(ProtectionTest, AnEraseThatCannotBeStartedIsTriedThreeTimesWithoutWaiting)
{
    jlink.protect();
    open_probe();
    const auto write = jlink.JLINKARM_CORESIGHT_WriteAPDPReg;
    jlink.JLINKARM_CORESIGHT_WriteAPDPReg = [&](std::uint8_t index, std::uint8_t ap, std::uint32_t data) {
        return ap == 1 ? -9 : write(index, ap, data);
    };
    EXPECT_EQ(TESSIT_recover(), RESULT_OK) << "the connection that follows is the judge";
    EXPECT_EQ(count(jlink.calls, start_erase), 3);
    EXPECT_THAT(jlink.sleeps, IsEmpty());
}

TEST_F(ProtectionTest, EveryFailureOfRecoveringIsARecoverFailure)
{
    const std::function<void(ScriptedJLink&)> faults[]{
        [](auto& j) { j.JLINKARM_CORESIGHT_ReadAPDPReg = [](auto, auto, auto) { return -1; }; },
        [](auto& j) { j.JLINKARM_Connect = [] { return -1; }; },
        [](auto& j) { j.JLINKARM_Halt = [] { return std::uint8_t{1}; }; },
        [](auto& j) { j.JLINKARM_WriteU32 = [](auto, auto) { return -1; }; },
        [](auto& j) { j.JLINKARM_Reset = [] { return -1; }; },
        [](auto& j) { j.JLINKARM_WriteU32 = [](std::uint32_t addr, auto) { return addr == 0x40000984 ? -1 : 0; }; },
        [](auto& j) { j.JLINKARM_WriteU32 = [](std::uint32_t addr, auto) { return addr == 0x40000400 ? -1 : 0; }; },
    };
    for (const auto& fault : faults) {
        ScriptedJLink fresh;
        scripted = &fresh;
        session = Session{};
        open_probe();
        fault(fresh);
        EXPECT_EQ(TESSIT_recover(), ERR_RECOVER_FAILED);
        scripted = &jlink;
    }
}

TEST_F(ProtectionTest, ThereIsNoRegion0)
{
    std::uint32_t size = 5;
    auto source = static_cast<region_0_source_t>(5);
    EXPECT_EQ(TESSIT_read_region_0_size_and_source(&size, &source), RESULT_OK);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(source, NO_REGION_0);
}

} // namespace
} // namespace tessit::test
