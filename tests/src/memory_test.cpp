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

TEST_F(MemoryTest, EveryReadInvalidatesTheCacheFirst)
{
    open_device();
    jlink.memory[0x20000000] = 0x44332211;
    std::uint32_t word = 0;
    std::array<std::uint8_t, 3> bytes{};
    EXPECT_EQ(TESSIT_read_u32(0x20000000, &word), RESULT_OK);
    EXPECT_EQ(TESSIT_read(0x20000001, bytes.data(), 3), RESULT_OK);
    EXPECT_EQ(word, 0x44332211u);
    EXPECT_THAT(bytes, ElementsAre(0x22, 0x33, 0x44));
    EXPECT_THAT(jlink.calls,
                ElementsAre("IsOpen()", "IsConnected()", "Halt()", "ExecCommand(\"InvalidateCache\", 0x1F4)",
                            "[20000000]", "IsOpen()", "IsConnected()", "Halt()",
                            "ExecCommand(\"InvalidateCache\", 0x1F4)", "ReadMem(0x20000001, 0x3)"));

    jlink.JLINKARM_ExecCommand = [](const char*, char* error, std::int32_t) { return std::strcpy(error, "no"), 0; };
    forget();
    EXPECT_EQ(TESSIT_read_u32(0, &word), ERR_JLINK_CALL_FAILED);
    EXPECT_EQ(TESSIT_read(0, bytes.data(), 3), ERR_JLINK_CALL_FAILED);
    EXPECT_THAT(jlink.calls, Each(Not(testing::MatchesRegex("ReadMem.*|\\[.*"))));
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

TEST_F(MemoryTest, TheWriteBracketSurroundsAFlashWriteOnly)
{
    open_device();
    EXPECT_EQ(TESSIT_write_u32(0x1000, 0x12345678, 0), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "[1000]=12345678"));
    forget();
    EXPECT_EQ(TESSIT_write_u32(0x1000, 0x12345678, 0x80), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "[4001E504]=1", poll, "[1000]=12345678", poll, "[4001E504]=0", poll));
    forget();
    jlink.JLINKARM_WriteU32 = [](std::uint32_t address, auto) { return address == 0x1000 ? -1 : 0; };
    EXPECT_EQ(TESSIT_write_u32(0x1000, 0, 1), ERR_JLINK_CALL_FAILED);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "[4001E504]=1", poll, "[1000]=0"));
}

TEST_F(MemoryTest, ABlockWriteMergesItsTailIntoTheWordThatHoldsIt)
{
    open_device();
    jlink.memory[0x20000004] = 0xDDCCBBAA;
    const std::array<std::uint8_t, 7> bytes{1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(TESSIT_write(0x20000000, bytes.data(), 6, 0), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "WriteMem(0x20000000, 0x4)", "ReadMem(0x20000004, 0x4)",
                                     "WriteMem(0x20000004, 0x4)"));
    EXPECT_EQ(jlink.memory[0x20000000], 0x04030201u);
    EXPECT_EQ(jlink.memory[0x20000004], 0xDDCC0605u);
    for (std::uint32_t length = 1; length <= 3; ++length) {
        jlink.memory[0x20000008] = 0xDDCCBBAA;
        EXPECT_EQ(TESSIT_write(0x20000008, bytes.data(), length, 0), RESULT_OK);
    }
    EXPECT_EQ(jlink.memory[0x20000008], 0xDD030201u);
    EXPECT_EQ(jlink.memory[0x2000000C], 0u);
    forget();
    EXPECT_EQ(TESSIT_write(0x0, bytes.data(), 4, 1), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "[4001E504]=1", poll, "WriteMem(0x0, 0x4)", poll, "[4001E504]=0", poll));
}

TEST_F(MemoryTest, FactoryWritesUnlockAndLockTheController)
{
    open_device();
    EXPECT_EQ(TESSIT_ficrwrite_u32(0x10000080, 0x04030201), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("Halt()", "[4001E504]=0", poll, "[4001E600]=5A3C", poll, "[4001E504]=1", poll,
                                     "WriteMem(0x10000080, 0x4)", poll, "[4001E504]=0", poll, "[4001E600]=0", poll));
    EXPECT_EQ(jlink.memory[0x10000080], 0x04030201u);
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

TEST_F(MemoryTest, ErasesSwitchTheControllerAndEndWithADummyRead)
{
    struct Erase
    {
        std::function<result_code_t()> run;
        const char* write;
    };
    for (const Erase& erase : {Erase{TESSIT_erase_all, "[4001E50C]=1"}, Erase{TESSIT_erase_uicr, "[4001E514]=1"},
                               Erase{[] { return TESSIT_erase_page(0x1235); }, "[4001E508]=1235"}}) {
        open_device();
        EXPECT_EQ(erase.run(), RESULT_OK);
        EXPECT_THAT(calls(),
                    ElementsAre("Halt()", "[4001E504]=2", poll, erase.write, poll, "[4001E504]=0", poll, "[10000FFC]"));
        TESSIT_close_dll();
    }
    open_device();
    EXPECT_EQ(TESSIT_masserase(), RESULT_OK);
    EXPECT_THAT(calls(),
                ElementsAre("Halt()", "[4001E504]=0", poll, "[4001E600]=6E71", poll, "[4001E504]=2", poll,
                            "[4001E610]=3", poll, "[4001E504]=0", poll, "[4001E600]=0", poll, "[0]", "[10000FFC]"));
    forget();
    jlink.JLINKARM_ReadMemU32 = [](std::uint32_t address, auto, std::uint32_t* data, auto) {
        *data = 1;
        return address == 0x10000FFC ? -1 : 1;
    };
    EXPECT_EQ(TESSIT_erase_all(), ERR_JLINK_CALL_FAILED) << "the dummy read's failure is the export's";
}

TEST_F(MemoryTest, RamSectionsFollowTheChip)
{
    struct Chip
    {
        std::uint32_t part;
        std::uint32_t revision;
        std::uint32_t variant;
        std::uint32_t sections;
        std::uint32_t last_size;
    };
    for (const Chip& chip :
         {Chip{6, 5, 0, 16, 4096}, Chip{6, 5, 256, 8, 4096}, Chip{8, 2, 0, 22, 32768}, Chip{10, 0, 0, 6, 4096}}) {
        use_chip(chip.part, chip.revision, chip.variant);
        open_device();
        std::uint32_t count = 0;
        EXPECT_EQ(TESSIT_read_ram_sections_count(&count), RESULT_OK);
        EXPECT_EQ(count, chip.sections);
        std::vector<std::uint32_t> sizes(24, 7);
        EXPECT_EQ(TESSIT_read_ram_sections_size(sizes.data(), count), RESULT_OK);
        EXPECT_EQ(sizes[std::min(count, 16u) - 1], 4096u);
        EXPECT_EQ(sizes[count - 1], chip.last_size);
        EXPECT_EQ(sizes[count], 7u);
        EXPECT_THAT(
            TESSIT_read_ram_sections_size(sizes.data(), count - 1),
            FailsWith(
                ERR_BAD_ARGUMENT,
                "Invalid ram_sections_size pointer provided. Its size ram_sections_size_len is not big enough to store "
                "the power status of all the RAM sections in the device."));
        EXPECT_THAT(calls(), Not(testing::Contains("Halt()")));
        EXPECT_THAT(TESSIT_unpower_ram_section(count), FailsWith(ERR_BAD_ARGUMENT, "Invalid section_index provided."));
        TESSIT_close_dll();
    }
}

TEST_F(MemoryTest, RamPowerIsReadFromNineBlocksBitByBit)
{
    open_device();
    jlink.memory[0x40000900] = 2;  // section 1
    jlink.memory[0x40000970] = 1;  // section 14
    jlink.memory[0x40000980] = 32; // section 21
    std::vector<ram_power_status_t> power(23, static_cast<ram_power_status_t>(9));
    EXPECT_EQ(TESSIT_read_ram_sections_power_status(power.data(), 22), RESULT_OK);
    std::vector<std::size_t> on;
    for (std::size_t i = 0; i < 22; ++i) {
        if (power[i] == RAM_SECTION_ON) {
            on.push_back(i);
        }
    }
    EXPECT_THAT(on, ElementsAre(1, 14, 21));
    EXPECT_EQ(power[22], 9u);
    EXPECT_EQ(std::ranges::count_if(jlink.calls, [](auto& call) { return call.starts_with("[400009"); }), 9);
    EXPECT_EQ(TESSIT_read_ram_sections_power_status(power.data(), 21), ERR_BAD_ARGUMENT);
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

TEST_F(MemoryTest, DebugPortRegistersAreSelectedBeforeEachAccess)
{
    open_probe();
    std::uint32_t data = 0;
    EXPECT_EQ(TESSIT_read_debug_port_register(0x04, &data), RESULT_OK);
    EXPECT_EQ(TESSIT_read_debug_port_register(0x24, &data), RESULT_OK);
    EXPECT_EQ(TESSIT_read_debug_port_register(0x10, &data), RESULT_OK);
    EXPECT_EQ(TESSIT_write_debug_port_register(0x18, 5), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("CORESIGHT_Configure(\"\")", "dp2=0", "dp1", "dp2=2", "dp1", "dp0", "dp2=5"));
    forget();
    EXPECT_EQ(TESSIT_read_access_port_register(1, 0xFC, &data), RESULT_OK);
    EXPECT_EQ(TESSIT_write_access_port_register(0xFF, 0x54, 9), RESULT_OK);
    EXPECT_THAT(calls(), ElementsAre("dp2=0", "dp1=50000000", "dp2=10000F0", "ap3", "dp2=FF000050", "ap1=9"));
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
