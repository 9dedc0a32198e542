#include "tests/src/library_test.h"

#include "src/target/chip_versions.h"
#include "src/target/device.h"

namespace tessit::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using TargetTest = LibraryTest;

struct Identification
{
    std::uint32_t part;
    std::uint32_t revision;
    std::uint32_t variant;
    chip_version_t version;
};

constexpr Identification identifications[]{
    {6, 3, 256, BIRCH_M1_VA_ENGA},  {6, 4, 0, BIRCH_M1_VA_ENGB},     {6, 5, 512, BIRCH_M1_VA_REV1},
    {6, 5, 256, BIRCH_M1_VB_REV1},  {6, 6, 0, BIRCH_M1_VA_REV2},     {6, 6, 256, BIRCH_M1_VB_REV2},
    {6, 0, 0, BIRCH_M1_VA_FUTURE},  {6, 7, 256, BIRCH_M1_VB_FUTURE}, {8, 0, 256, BIRCH_M2_VA_ENGA},
    {8, 1, 0, BIRCH_M2_VA_ENGB},    {8, 2, 0, BIRCH_M2_VA_REV1},     {8, 3, 256, BIRCH_M2_VA_FUTURE},
    {10, 0, 256, BIRCH_M3_VA_REV1}, {10, 1, 0, BIRCH_M3_VA_FUTURE},  {6, 0xFFFFFFFF, 0, BIRCH_M1_VA_FUTURE},
};

TEST_F(TargetTest, TheIdentificationWordsNameTheVersion)
{
    open_device();
    for (const Identification& id : identifications) {
        use_chip(id.part, id.revision, id.variant);
        chip_version_t version = UNKNOWN;
        EXPECT_EQ(TESSIT_read_device_version(&version), RESULT_OK);
        EXPECT_EQ(version, id.version) << id.part << "/" << id.revision << "/" << id.variant;
    }
    EXPECT_TRUE(jlink.is_halted);
}

TEST_F(TargetTest, AnAbsentPartWordIsLookedUpInTheRomTableAndAnUnknownOneIsNot)
{
    open_device();
    use_chip(0xFFFFFFFF, 9);
    jlink.memory[0xF0000FE0] = 0xAB06;
    jlink.memory[0xF0000FE4] = 0xF0;
    jlink.memory[0xF0000FE8] = 0x3B;
    chip_version_t version = UNKNOWN;
    EXPECT_EQ(TESSIT_read_device_version(&version), RESULT_OK);
    EXPECT_EQ(version, BIRCH_M1_VA_ENGA);
    jlink.memory[0xF0000FE0] = 7;
    EXPECT_EQ(TESSIT_read_device_version(&version), ERR_UNKNOWN_DEVICE);
    use_chip(7, 0);
    forget();
    EXPECT_EQ(TESSIT_read_device_version(&version), ERR_UNKNOWN_DEVICE);
    EXPECT_EQ(calls().size(), 4u);
    EXPECT_THAT(log_messages(), IsEmpty());
}

TEST_F(TargetTest, VersionNamesFollowTheirValues)
{
    const auto name = [](std::uint32_t value) {
        return std::string{chip_version_name(static_cast<chip_version_t>(value))};
    };
    EXPECT_EQ(name(0), "UNKNOWN");
    EXPECT_EQ(name(6), "ALDER_M2_VA_REV3");
    EXPECT_EQ(name(17), "ALDER_M1_VB_REV3");
    EXPECT_EQ(name(21), "BIRCH_M2_VA_ENGB");
    EXPECT_EQ(name(22), "INVALID");
    EXPECT_EQ(name(0xFFFFFFFF), "INVALID");
    for (const Identification& id : identifications) {
        EXPECT_EQ(find_birch(id.version)->value, id.version);
    }
    for (const std::uint32_t value : {0u, 1u, 6u, 17u, 22u, 0xFFFFFFFFu}) {
        EXPECT_EQ(find_birch(static_cast<chip_version_t>(value)), nullptr) << value;
    }
}

TEST_F(TargetTest, ADeviceIsNamedWhenItIsConnectedAndUnprotectedWithoutBeingAsked)
{
    open_probe();
    std::uint32_t word = 0;
    EXPECT_EQ(TESSIT_read_u32(0x20, &word), RESULT_OK);
    EXPECT_THAT(log_messages(), ElementsAre("Device version is BIRCH_M2_VA_REV1."));
    forget();
    auto status = FULL;
    EXPECT_EQ(TESSIT_readback_status(&status), RESULT_OK);
    EXPECT_EQ(status, NONE) << "connected, and so unprotected without being asked";
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(
        TESSIT_connect_to_device(),
        FailsWith(ERR_WRONG_STATE, "Cannot call connect_to_device when connect_to_device has already been called."));
}

TEST_F(TargetTest, ProtectionIsBelievedWhenFourReadsAgree)
{
    open_probe();
    std::vector<std::uint32_t> answers;
    std::size_t reads = 0;
    jlink.JLINKARM_CORESIGHT_ReadAPDPReg = [&](auto, auto, std::uint32_t* data) {
        *data = reads < answers.size() ? answers[reads] : answers.back();
        ++reads;
        return 0;
    };
    const auto status_of = [&](std::vector<std::uint32_t> registers) {
        answers = std::move(registers);
        reads = 0;
        auto status = static_cast<readback_protection_status_t>(9);
        EXPECT_EQ(TESSIT_readback_status(&status), RESULT_OK);
        return status;
    };
    constexpr std::uint32_t idr = 0x02880000;
    EXPECT_EQ(status_of({0x12880001, 0x12880001, 0x12880001, 0x12880001, 0, 0, 0, 0}), FULL);
    EXPECT_EQ(status_of({idr, idr, idr, idr, 1, 1, 1, 1}), NONE);
    EXPECT_EQ(status_of({idr, idr, idr, idr, 1, 0, 0, 0, 0, 0, 0, 0}), FULL);
    EXPECT_EQ(reads, 12u);
    EXPECT_EQ(status_of({0x02890000, 0x02890000, 0x02890000, 0x02890000}), NONE) << "no CTRL-AP";
    EXPECT_EQ(reads, 4u);

    forget();
    answers.clear();
    reads = 0;
    std::uint32_t flicker = 0;
    jlink.JLINKARM_CORESIGHT_ReadAPDPReg = [&](auto, auto, std::uint32_t* data) {
        ++reads;
        *data = flicker ^= 1;
        return 0;
    };
    readback_protection_status_t status = NONE;
    EXPECT_EQ(TESSIT_readback_status(&status), ERR_JLINK_CALL_FAILED);
    EXPECT_EQ(reads, 40u);
    EXPECT_THAT(log_messages(), IsEmpty());
}

TEST_F(TargetTest, AFailedConnectionIsReportedAndAnUnidentifiedDeviceIsNotLeftConnected)
{
    open_probe();
    jlink.JLINKARM_Connect = [] { return -4; };
    EXPECT_EQ(TESSIT_connect_to_device(), ERR_TARGET_CONNECT_FAILED);
    EXPECT_THAT(log_messages(), ElementsAre("JLinkARM.dll Connect returned error -4."));

    jlink.JLINKARM_Connect = [this] { return jlink.is_connected = true, 0; };
    use_chip(7, 0);
    forget();
    EXPECT_EQ(TESSIT_connect_to_device(), ERR_UNKNOWN_DEVICE);
    EXPECT_FALSE(jlink.is_connected);
    EXPECT_TRUE(jlink.is_open);
    EXPECT_EQ(last_of(jlink.calls), "GetSN()") << "the session was restarted";
}

TEST_F(TargetTest, RunControlJudgesTheLowBytes)
{
    open_device();
    jlink.JLINKARM_Halt = [] { return std::uint8_t{1}; };
    EXPECT_THAT(TESSIT_halt(), FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll Halt returned error 1."));
    jlink.JLINKARM_Halt = [] { return std::uint8_t{0}; };

    bool halted = false;
    jlink.JLINKARM_IsHalted = [] { return std::uint8_t{2}; };
    EXPECT_EQ(TESSIT_is_halted(&halted), RESULT_OK);
    EXPECT_TRUE(halted);
    jlink.JLINKARM_IsHalted = [] { return std::uint8_t{0xFF}; };
    EXPECT_THAT(TESSIT_is_halted(&halted),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll IsHalted returned error -1."));
    EXPECT_TRUE(halted) << "left as it was";
    jlink.JLINKARM_IsHalted = [] { return std::uint8_t{1}; };

    jlink.JLINKARM_Step = [] { return std::uint8_t{1}; };
    EXPECT_THAT(TESSIT_step(), FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll Step returned error."));

    jlink.JLINKARM_Reset = [] { return -2; };
    forget();
    EXPECT_EQ(TESSIT_sys_reset(), ERR_JLINK_CALL_FAILED);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "SetResetType(0x8)", "Reset()"));
    EXPECT_EQ(last_of(log_messages()), "JLinkARM.dll Reset returned error -2.");
}

TEST_F(TargetTest, GoAndStepLookAtTheRunStateAndRunSetsPcThenSp)
{
    open_device();
    jlink.is_halted = false;
    EXPECT_EQ(TESSIT_go(), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("IsHalted()"));
    EXPECT_THAT(TESSIT_step(), FailsWith(ERR_WRONG_STATE, "Cannot call step when the device is not halted."));
    jlink.is_halted = true;
    forget();
    EXPECT_EQ(TESSIT_run(0, 0x20000000), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "WriteReg(0xF, 0x0)", "WriteReg(0xD, 0x20000000)", "Go()"));
}

TEST_F(TargetTest, CpuRegistersAreNumberedAsJLinkDoesAndFailOnlyWith1)
{
    open_device();
    jlink.JLINKARM_ReadReg = [](std::uint32_t index) { return 1000 + index; };
    std::uint32_t value = 0;
    EXPECT_EQ(TESSIT_read_cpu_register(PSP, &value), RESULT_OK);
    EXPECT_EQ(value, 1018u);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "ReadReg(0x12)"));
    jlink.JLINKARM_WriteReg = [](auto, auto) { return std::uint8_t{2}; };
    EXPECT_EQ(TESSIT_write_cpu_register(R0, 5), RESULT_OK);
    jlink.JLINKARM_WriteReg = [](auto, auto) { return std::uint8_t{1}; };
    EXPECT_THAT(TESSIT_write_cpu_register(R0, 5),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll WriteReg returned error 1."));
}

TEST_F(TargetTest, TheDebugResetIsRefusedWhereTheChipHasNoWay)
{
    open_probe();
    jlink.protect();
    EXPECT_EQ(TESSIT_debug_reset(), RESULT_OK);
    jlink.ctrl_ap[0xFC] = 0;
    EXPECT_EQ(TESSIT_debug_reset(), ERR_UNSUPPORTED_ON_DEVICE);
    TESSIT_close_dll();

    open_device();
    use_chip(6, 3);
    EXPECT_EQ(TESSIT_debug_reset(), ERR_UNSUPPORTED_ON_DEVICE);
    EXPECT_THAT(calls(), testing::Not(testing::Contains("Reset()")));
    EXPECT_THAT(log_messages(), IsEmpty());
}

} // namespace
} // namespace tessit::test
