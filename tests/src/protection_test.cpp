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

TEST_F(ProtectionTest, AConnectedDeviceIsErasedByTheFlashControllerTheUicrFirst)
{
    open_device();
    jlink.protect();
    EXPECT_EQ(TESSIT_recover(), RESULT_OK);
    const auto made = calls();
    const auto erase_uicr = std::ranges::find(made, "[4001E514]=1");
    ASSERT_NE(erase_uicr, made.end());
    EXPECT_EQ(std::count(erase_uicr, made.end(), "Reset()"), 2);
    EXPECT_EQ(std::count(erase_uicr, made.end(), "[4001E50C]=1"), 1);
    EXPECT_EQ(count(made, start_erase), 0);
}

TEST_F(ProtectionTest, TheEraseIsWaitedForAndAFailedReadOfItsStatusCountsAsBusy)
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
        return status_reads == 2 && index == 2 ? -1 : read(index, ap, data);
    };
    EXPECT_EQ(TESSIT_recover(), RESULT_OK);
    EXPECT_THAT(jlink.sleeps, ElementsAre(milliseconds{500}, milliseconds{500}, milliseconds{500}, milliseconds{10},
                                          milliseconds{10}));
    EXPECT_EQ(count(jlink.calls, start_erase), 1);
}

TEST_F(ProtectionTest, AnEraseThatNeverEndsOrCannotBeStartedIsTriedThreeTimes)
{
    for (const bool starts : {true, false}) {
        ScriptedJLink fresh;
        scripted = &fresh;
        session = Session{};
        fresh.protect();
        fresh.ctrl_ap[0x08] = 1;
        open_probe();
        const auto write = fresh.JLINKARM_CORESIGHT_WriteAPDPReg;
        fresh.JLINKARM_CORESIGHT_WriteAPDPReg = [&](std::uint8_t index, std::uint8_t ap, std::uint32_t data) {
            return ap == 1 && !starts ? -9 : write(index, ap, data);
        };
        fresh.JLINKARM_Connect = [&] { return starts ? -1 : (fresh.is_connected = true, 0); };
        EXPECT_EQ(TESSIT_recover(), starts ? ERR_RECOVER_FAILED : RESULT_OK) << "the connection is the judge";
        EXPECT_EQ(count(fresh.calls, start_erase), 3);
        EXPECT_EQ(std::ranges::count(fresh.sleeps, milliseconds{500}), starts ? 60 : 0);
        EXPECT_EQ(std::ranges::count(fresh.sleeps, milliseconds{10}), starts ? 6 : 0);
        scripted = &jlink;
    }
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
