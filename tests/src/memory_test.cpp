#include "tests/src/library_test.h"

#include <array>
#include <cstring>

namespace tessit::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using MemoryTest = LibraryTest;

constexpr auto poll = "[4001E400]";

TEST_F(MemoryTest, NothingIsReadWhenTheCacheCannotBeInvalidated)
{
    open_device();
    std::uint32_t word = 0;
    std::array<std::uint8_t, 3> bytes{};
    jlink.JLINKARM_ExecCommand = [](const char*, char* error, std::int32_t) { return std::strcpy(error, "no"), 0; };
    EXPECT_EQ(TESSIT_read_u32(0, &word), ERR_JLINK_CALL_FAILED);
    EXPECT_EQ(TESSIT_read(0, bytes.data(), 3), ERR_JLINK_CALL_FAILED);
    EXPECT_THAT(jlink.calls, Each(Not(testing::AnyOf(testing::StartsWith("ReadMem"), testing::StartsWith("[")))));
    EXPECT_THAT(log_messages(), Each("JLinkARM.dll ExecCommand returned error 'no'."));
}

TEST_F(MemoryTest, FailedAccessesAreReportedByFunctionAndResult)
{
    open_device();
    std::uint32_t word = 0;
    std::array<std::uint8_t, 8> bytes{};
    const auto failure = [](const char* what) {
        return FailsWith(ERR_JLINK_CALL_FAILED, std::string{"JLinkARM.dll "} + what);
    };
    jlink.JLINKARM_ReadMemU32 = [](auto...) { return -3; };
    EXPECT_THAT(TESSIT_read_u32(0, &word), failure("ReadMemU32 returned error -3."));
    jlink.JLINKARM_ReadMemU32 = [](auto, auto, auto, std::uint8_t* status) { return *status = 200, 1; };
    EXPECT_THAT(TESSIT_read_u32(0, &word), failure("ReadMemU32 returned status 200."));
    jlink.JLINKARM_ReadMem = [](auto...) { return 1; };
    EXPECT_THAT(TESSIT_read(0, bytes.data(), 8), failure("ReadMem returned error 1."));
    jlink.JLINKARM_WriteU32 = [](auto...) { return 1; };
    EXPECT_THAT(TESSIT_write_u32(0, 0, 0), failure("WriteU32 returned error 1."));
    jlink.JLINKARM_WriteMem = [](auto...) { return -1; };
    EXPECT_THAT(TESSIT_write(0, bytes.data(), 8, 0), failure("WriteMem returned error -1."));
}

TEST_F(MemoryTest, AFlashWriteThatFailsEndsTheSequence)
{
    open_device();
    EXPECT_EQ(TESSIT_write_u32(0x1000, 0x12345678, 0x80), RESULT_OK) << "any nonzero value asks for the controller";
    EXPECT_THAT(calls(), testing::Contains("[4001E504]=1"));
    forget();
    jlink.JLINKARM_WriteU32 = [](std::uint32_t address, auto) { return address == 0x1000 ? -1 : 0; };
    EXPECT_EQ(TESSIT_write_u32(0x1000, 0, 1), ERR_JLINK_CALL_FAILED);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "[4001E504]=1", poll, "[1000]=0"));
}

TEST_F(MemoryTest, KeysAreGivenToAControllerThatIsReadOnly)
{
    open_device();
    const auto begin = [this] { return std::vector{calls()[1], calls()[2], calls()[3].substr(0, 11)}; };
    EXPECT_EQ(TESSIT_ficrwrite_u32(0x10000080, 1), RESULT_OK);
    EXPECT_THAT(begin(), ElementsAre("[4001E504]=0", poll, "[4001E600]="));
    forget();
    EXPECT_EQ(TESSIT_masserase(), RESULT_OK);
    EXPECT_THAT(begin(), ElementsAre("[4001E504]=0", poll, "[4001E600]="));
}

TEST_F(MemoryTest, AControllerThatIsNeverReadyEndsAfter100000Polls)
{
    open_device();
    jlink.memory[0x4001E400] = 0;
    int polls = 0;
    jlink.JLINKARM_ReadMemU32 = [&](auto, auto, std::uint32_t* data, auto) { return ++polls, *data = 0, 1; };
    EXPECT_EQ(TESSIT_write_u32(0, 0, 1), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_EQ(polls, 100'000);
    EXPECT_THAT(log_messages(), ElementsAre("NVMC controller never gets ready."));
    polls = 0;
    jlink.JLINKARM_ReadMemU32 = [&](auto, auto, std::uint32_t* data, auto) { return ++polls, *data = 2, 1; };
    EXPECT_EQ(TESSIT_write_u32(0, 0, 1), RESULT_OK) << "nonzero after the last poll is ready enough";
    EXPECT_EQ(polls, 300'000);
}

TEST_F(MemoryTest, ErasesEndWithADummyReadWhoseFailureIsTheirs)
{
    open_device();
    bool fails = false;
    const auto read = jlink.JLINKARM_ReadMemU32;
    jlink.JLINKARM_ReadMemU32 = [&](std::uint32_t address, auto count, auto data, auto status) {
        return fails && address == 0x10000FFC ? -1 : read(address, count, data, status);
    };
    for (const auto& erase : std::vector<std::function<result_code_t()>>{
             TESSIT_erase_all, TESSIT_erase_uicr, TESSIT_masserase, [] { return TESSIT_erase_page(0x1235); }}) {
        fails = false;
        EXPECT_EQ(erase(), RESULT_OK);
        EXPECT_EQ(last_of(jlink.calls), "[10000FFC]");
        fails = true;
        EXPECT_EQ(erase(), ERR_JLINK_CALL_FAILED);
    }
}

TEST_F(MemoryTest, RamSectionsFillNoMoreThanTheirPlaceAndNeedAllOfIt)
{
    open_device();
    constexpr std::uint32_t count = 22;
    std::vector<std::uint32_t> sizes(count + 1, 7);
    std::vector<ram_power_status_t> power(count + 1, static_cast<ram_power_status_t>(9));
    EXPECT_EQ(TESSIT_read_ram_sections_size(sizes.data(), count), RESULT_OK);
    EXPECT_EQ(TESSIT_read_ram_sections_power_status(power.data(), count), RESULT_OK);
    EXPECT_EQ(sizes[count], 7u);
    EXPECT_EQ(power[count], 9u);
    EXPECT_THAT(
        TESSIT_read_ram_sections_size(sizes.data(), count - 1),
        FailsWith(
            ERR_BAD_ARGUMENT,
            "Invalid ram_sections_size pointer provided. Its size ram_sections_size_len is not big enough to store "
            "the power status of all the RAM sections in the device."));
    EXPECT_EQ(TESSIT_read_ram_sections_power_status(power.data(), count - 1), ERR_BAD_ARGUMENT);
    EXPECT_THAT(calls(), Not(testing::Contains("Halt()")));
    EXPECT_THAT(TESSIT_unpower_ram_section(count), FailsWith(ERR_BAD_ARGUMENT, "Invalid section_index provided."));
}

TEST_F(MemoryTest, TheDeprecatedRamQueryServesUniformSectionsOnly)
{
    open_device();
    std::uint32_t number = 0;
    std::uint32_t size = 0;
    EXPECT_THAT(
        TESSIT_is_ram_powered(nullptr, 0, &number, &size),
        FailsWith(ERR_UNSUPPORTED_ON_DEVICE,
                  "This API function is deprecated for this device. Please see header file for more information."));
    use_chip(10, 0);
    EXPECT_EQ(TESSIT_is_ram_powered(nullptr, 0, &number, &size), RESULT_OK);
    EXPECT_EQ(number, 6u);
    EXPECT_EQ(size, 4096u);
    std::array<ram_power_status_t, 6> power{};
    number = size = 0;
    EXPECT_EQ(TESSIT_is_ram_powered(power.data(), 5, &number, &size), ERR_BAD_ARGUMENT);
    EXPECT_EQ(number, 6u) << "stored before the capacity is looked at";
    jlink.memory[0x40000920] = 2;
    EXPECT_EQ(TESSIT_is_ram_powered(power.data(), 6, &number, &size), RESULT_OK);
    EXPECT_THAT(power, ElementsAre(0, 0, 0, 0, 0, 1));
}

TEST_F(MemoryTest, RawPortAccessesAreRefusedSilentlyWhileTheDeviceIsConnectedAndAFailureIsTriedAgain)
{
    open_probe();
    std::uint32_t data = 0;
    jlink.JLINKARM_CORESIGHT_Configure = [](auto) { return -8; };
    EXPECT_THAT(TESSIT_read_access_port_register(1, 0, &data),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll CORESIGHT_Configure returned error -8."));
    jlink.JLINKARM_CORESIGHT_Configure = [](auto) { return 0; };
    jlink.JLINKARM_CORESIGHT_ReadAPDPReg = [](auto...) { return -8; };
    EXPECT_THAT(TESSIT_read_access_port_register(1, 0, &data),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll CORESIGHT_ReadAPDPReg returned error -8."));
    jlink.JLINKARM_CORESIGHT_ReadAPDPReg = [](auto...) { return 0; };
    EXPECT_EQ(TESSIT_read_access_port_register(1, 0, &data), RESULT_OK);
    EXPECT_EQ(std::ranges::count(jlink.calls, "CORESIGHT_Configure(\"\")"), 2) << "until it is done, and not again";
    jlink.is_connected = true;
    forget();
    EXPECT_EQ(TESSIT_read_debug_port_register(0, &data), ERR_WRONG_STATE);
    EXPECT_EQ(TESSIT_write_debug_port_register(0, 0), ERR_WRONG_STATE);
    EXPECT_EQ(TESSIT_read_access_port_register(1, 0, &data), ERR_WRONG_STATE);
    EXPECT_EQ(TESSIT_write_access_port_register(1, 0, 0), ERR_WRONG_STATE);
    EXPECT_THAT(log_messages(), IsEmpty());
}

} // namespace
} // namespace tessit::test
