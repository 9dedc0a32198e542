#include "tests/src/library_test.h"

#include <array>
#include <cstring>

namespace tessit::test {
namespace {

using testing::ElementsAre;

using ProbeTest = LibraryTest;

constexpr std::array session_commands{"Device = BIRCH_M1_VA", "SetRestartOnClose = 0", "DisableFlashDL",
                                      "SetDbgPowerDownOnClose = 1", "ExcludeFlashCacheRange 0x0-0xFFFFFFFF"};

TEST_F(ProbeTest, AConnectionIsSetUpInThisOrder)
{
    open();
    forget();
    jlink.JLINKARM_GetHWStatus = [](JLinkHardwareStatus* status) { return status->target_millivolts = 1500, -1; };
    EXPECT_EQ(TESSIT_connect_to_emu_with_snr(777, 125), RESULT_OK) << "only a result of 1 and less than 1500 mV fail";
    EXPECT_THAT(jlink.calls,
                ElementsAre("IsOpen()", "EMU_GetNumDevices()", "EMU_SelectByUSBSN(0x309)", "OpenEx()", "GetHWStatus()",
                            "ExecCommand(\"Device = BIRCH_M1_VA\", 0x1F4)",
                            "ExecCommand(\"SetRestartOnClose = 0\", 0x1F4)", "ExecCommand(\"DisableFlashDL\", 0x1F4)",
                            "ExecCommand(\"SetDbgPowerDownOnClose = 1\", 0x1F4)",
                            "ExecCommand(\"ExcludeFlashCacheRange 0x0-0xFFFFFFFF\", 0x1F4)", "TIF_Select(0x1)",
                            "SetSpeed(0x7D)", "GetSN()"));
    EXPECT_THAT(log_lines,
                ElementsAre("Birch_connect_to_emu_with_snr", ". Birch_is_connected_to_emu", ". Birch_enum_emu_snr",
                            ". Birch_connect_to_emu_with_snr", ". . Birch_connect_to_emu_without_snr",
                            ". . Birch_connect_to_emu_without_snr:\tThere is no generic Birch device in J-Link, so we "
                            "select BIRCH_M1_VA.\n"));
    std::uint32_t serial_number = 0;
    EXPECT_EQ(TESSIT_read_connected_emu_snr(&serial_number), RESULT_OK);
    EXPECT_EQ(serial_number, 777u);
    EXPECT_EQ(session.connected_emu_speed, 125u);
}

TEST_F(ProbeTest, AFailedConnectionSaysWhyAndLeavesNoSession)
{
    struct Failure
    {
        const char* why;
        std::function<void(ScriptedJLink&)> fault;
        result_code_t code;
        const char* message;
        bool closed;
    };
    const Failure failures[]{
        {"no probe", [](auto& j) { j.JLINKARM_EMU_GetNumDevices = [] { return 0u; }; }, ERR_NO_PROBE_ATTACHED,
         "Cannot call connect_to_emu_with_snr when there is no emulator connected.", false},
        {"unknown serial", [](auto& j) { j.JLINKARM_EMU_SelectByUSBSN = [](auto) { return -1; }; }, ERR_PROBE_NOT_FOUND,
         "JLinkARM.dll EMU_SelectByUSBSN returned error -1.", false},
        {"open", [](auto& j) { j.JLINKARM_OpenEx = [](auto, auto) { return "No probe."; }; }, ERR_JLINK_CALL_FAILED,
         "JLinkARM.dll OpenEx returned error 'No probe.'.", false},
        {"status", [](auto& j) { j.JLINKARM_GetHWStatus = [](auto) { return 1; }; }, ERR_JLINK_CALL_FAILED,
         "JLinkARM.dll GetHWStatus returned error 1.", true},
        {"supply",
         [](auto& j) {
             j.JLINKARM_GetHWStatus = [](JLinkHardwareStatus* s) { return s->target_millivolts = 1499, 0; };
         },
         ERR_TARGET_LOW_VOLTAGE, "Low voltage detected in target device.", true},
        {"serial number", [](auto& j) { j.JLINKARM_GetSN = [] { return -5; }; }, ERR_JLINK_CALL_FAILED,
         "JLinkARM.dll GetSN returned error -5.", true},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.why);
        ScriptedJLink fresh;
        scripted = &fresh;
        session = Session{};
        failure.fault(fresh);
        open();
        log_lines.clear();
        EXPECT_EQ(TESSIT_connect_to_emu_with_snr(777, 4000), failure.code);
        EXPECT_EQ(last_of(log_messages()), failure.message);
        EXPECT_EQ(last_of(fresh.calls) == "Close()", failure.closed);
        EXPECT_EQ(session.connected_emu_snr, 0u);
        scripted = &jlink;
    }
}

TEST_F(ProbeTest, EachSessionCommandCanFailAndEndsTheConnection)
{
    for (std::size_t failing = 0; failing < session_commands.size(); ++failing) {
        open();
        forget();
        jlink.JLINKARM_ExecCommand = [&](const char* command, char* error, std::int32_t size) {
            EXPECT_EQ(size, 500);
            EXPECT_EQ(*error, '\0');
            if (std::string{command} == session_commands[failing]) {
                std::memset(error, 'e', 500); // without an end
            }
            return 0;
        };
        EXPECT_EQ(TESSIT_connect_to_emu_without_snr(4000), ERR_JLINK_CALL_FAILED);
        EXPECT_EQ(std::ranges::count_if(jlink.calls, [](const auto& c) { return c.starts_with("ExecCommand"); }),
                  failing + 1);
        EXPECT_EQ(last_of(jlink.calls), "Close()");
        // A text that fills its buffer makes a message of more than one piece.
        const auto messages = log_messages();
        ASSERT_GE(messages.size(), 2u);
        EXPECT_EQ(messages[messages.size() - 2] + messages.back(),
                  "JLinkARM.dll ExecCommand returned error '" + std::string(499, 'e') + "'.");
        TESSIT_close_dll();
    }
}

TEST_F(ProbeTest, ASecondConnectionIsRefusedAndChangesNothing)
{
    open_probe();
    char text[16] = "";
    jlink.JLINKARM_GetFirmwareString = [](char* buffer, std::uint32_t size) { std::strncpy(buffer, "probe", size); };
    EXPECT_EQ(TESSIT_read_connected_emu_fwstr(text, sizeof text), RESULT_OK);
    EXPECT_STREQ(text, "probe");
    EXPECT_EQ(TESSIT_read_connected_emu_fwstr(text, 0), RESULT_OK);
    forget();
    EXPECT_EQ(TESSIT_connect_to_emu_with_snr(1, 200), ERR_WRONG_STATE);
    EXPECT_THAT(log_messages(), ElementsAre("Cannot call connect_to_emu_with_snr when connect_to_emu_without_snr or "
                                            "connect_to_emu_with_snr has already been called."));
    EXPECT_THAT(jlink.calls, ElementsAre("IsOpen()"));
    EXPECT_EQ(session.connected_emu_speed, 4000u);
}

TEST_F(ProbeTest, ListingCopiesWhatFitsAndCountsWhatIsThere)
{
    open();
    forget();
    jlink.JLINKARM_EMU_GetNumDevices = [] { return 4u; };
    jlink.JLINKARM_EMU_GetList = [](std::uint32_t, JLinkProbeRecord* probes, std::uint32_t capacity) {
        EXPECT_EQ(capacity, 4u);
        for (std::uint32_t i = 0; i < 3; ++i) {
            probes[i].serial_number = 100 + i;
        }
        return 3;
    };
    std::uint32_t available = 0;
    EXPECT_EQ(TESSIT_enum_emu_snr(nullptr, 0, &available), RESULT_OK);
    EXPECT_EQ(available, 4u);
    EXPECT_THAT(jlink.calls, ElementsAre("EMU_GetNumDevices()"));

    std::array<std::uint32_t, 5> numbers{9, 9, 9, 9, 9};
    EXPECT_EQ(TESSIT_enum_emu_snr(numbers.data(), 2, &available), RESULT_OK);
    EXPECT_EQ(available, 3u);
    EXPECT_THAT(numbers, ElementsAre(100, 101, 9, 9, 9));
    EXPECT_EQ(TESSIT_enum_emu_snr(numbers.data(), 5, &available), RESULT_OK);
    EXPECT_THAT(numbers, ElementsAre(100, 101, 102, 9, 9));

    jlink.JLINKARM_EMU_GetList = [](auto, auto, auto) { return -1; };
    EXPECT_THAT(TESSIT_enum_emu_snr(numbers.data(), 5, &available),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll EMU_GetList returned error -1."));
}

#if !defined(__SANITIZE_ADDRESS__) // which ends the process where no memory is left
TEST_F(ProbeTest, ACountThatNoMemoryHoldsIsReported)
{
    open();
    jlink.JLINKARM_EMU_GetNumDevices = [] { return 0xFFFFFFFFu; };
    std::uint32_t number = 0;
    std::uint32_t available = 0;
    EXPECT_EQ(TESSIT_enum_emu_snr(&number, 1, &available), ERR_NO_MEMORY);
    EXPECT_EQ(available, 0x7FFFFFFFu);
    EXPECT_EQ(last_of(log_messages()), "Could not allocate enough memory to read the serial numbers.");
}
#endif

TEST_F(ProbeTest, DisconnectingWithoutAProbeAsksOnlyForOne)
{
    open();
    forget();
    EXPECT_EQ(TESSIT_disconnect_from_emu(), RESULT_OK);
    EXPECT_THAT(jlink.calls, ElementsAre("IsOpen()"));
}

TEST_F(ProbeTest, AFailingPowerDownIsLoggedTwiceAndIgnoredAFailingDemcrWriteStopsTheDisconnect)
{
    open_probe();
    readback_protection_status_t status = FULL;
    EXPECT_EQ(TESSIT_readback_status(&status), RESULT_OK);
    const auto working_write = jlink.JLINKARM_CORESIGHT_WriteAPDPReg;
    jlink.JLINKARM_CORESIGHT_WriteAPDPReg = [](auto, auto, auto) { return -3; };
    forget();
    EXPECT_EQ(TESSIT_disconnect_from_emu(), RESULT_OK);
    EXPECT_THAT(log_messages(), ElementsAre("JLinkARM.dll CORESIGHT_WriteAPDPReg returned error -3.",
                                            "JLinkARM.dll CORESIGHT_WriteAPDPReg returned error -102."));
    EXPECT_FALSE(jlink.is_open);
    TESSIT_close_dll();

    jlink.JLINKARM_CORESIGHT_WriteAPDPReg = working_write;
    jlink.JLINKARM_CORESIGHT_ReadAPDPReg = [](auto, auto, std::uint32_t* data) { return *data = 1, 0; };
    open_device();
    jlink.JLINKARM_WriteU32 = [](auto, auto) { return -1; };
    EXPECT_EQ(TESSIT_disconnect_from_emu(), ERR_JLINK_CALL_FAILED);
    EXPECT_TRUE(jlink.is_open);
}

} // namespace
} // namespace tessit::test
