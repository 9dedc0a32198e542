// Connection, identification, resets, protection, CPU, RTT.
#include "tests/end_to_end/device.h"

#include <array>

namespace tessit_test {
namespace {

readback_protection_status_t protection()
{
    readback_protection_status_t status = BOTH;
    EXPECT_OK(TESSIT_readback_status(&status));
    return status;
}

TEST(Library, knowsEveryChipVersion)
{
    constexpr std::pair<const char*, chip_version_t> versions[]{
        {"BIRCH_M1_VA_ENGA", BIRCH_M1_VA_ENGA},     {"BIRCH_M1_VA_ENGB", BIRCH_M1_VA_ENGB},
        {"BIRCH_M1_VA_REV1", BIRCH_M1_VA_REV1},     {"BIRCH_M1_VA_REV2", BIRCH_M1_VA_REV2},
        {"BIRCH_M1_VA_FUTURE", BIRCH_M1_VA_FUTURE}, {"BIRCH_M1_VB_REV1", BIRCH_M1_VB_REV1},
        {"BIRCH_M1_VB_REV2", BIRCH_M1_VB_REV2},     {"BIRCH_M1_VB_FUTURE", BIRCH_M1_VB_FUTURE},
        {"BIRCH_M2_VA_ENGA", BIRCH_M2_VA_ENGA},     {"BIRCH_M2_VA_ENGB", BIRCH_M2_VA_ENGB},
        {"BIRCH_M2_VA_REV1", BIRCH_M2_VA_REV1},     {"BIRCH_M2_VA_FUTURE", BIRCH_M2_VA_FUTURE},
        {"BIRCH_M3_VA_REV1", BIRCH_M3_VA_REV1},     {"BIRCH_M3_VA_FUTURE", BIRCH_M3_VA_FUTURE},
    };
    for (const auto& [name, expected] : versions) {
        for (const char* const lines : {"", "ficr = { part = 0xFFFFFFFF }\n"}) {
            const Device device{name, lines};
            chip_version_t version = UNKNOWN;
            EXPECT_OK(TESSIT_read_device_version(&version));
            EXPECT_EQ(version, expected) << name << lines;
        }
    }
}

TEST(Library, opensAndClosesItsSessionInOrder)
{
    const Device device;
    std::array<char, 64> firmware{};
    std::uint32_t serial = 0;
    EXPECT_OK(TESSIT_read_connected_emu_snr(&serial));
    EXPECT_EQ(serial, TempBench::serial_number);
    EXPECT_OK(TESSIT_read_connected_emu_fwstr(firmware.data(), firmware.size()));
    EXPECT_THAT(firmware.data(), testing::StartsWith("J-Link"));
    // The speed that was chosen, and what is written at it.
    const auto time_of_a_block = [] {
        std::array<std::uint8_t, 1024> block{};
        EXPECT_OK(TESSIT_read(ram, block.data(), 4));
        const std::uint64_t begin = JLINKSIM_time_ns();
        EXPECT_OK(TESSIT_read(ram, block.data(), block.size()));
        return JLINKSIM_time_ns() - begin;
    };
    const std::uint64_t fast = time_of_a_block();
    EXPECT_OK(TESSIT_disconnect_from_emu());
    EXPECT_OK(TESSIT_connect_to_emu_without_snr(1000));
    EXPECT_GT(time_of_a_block(), 5 * fast);
    EXPECT_OK(TESSIT_disconnect_from_device());
    bool connected = true;
    EXPECT_OK(TESSIT_is_connected_to_device(&connected));
    EXPECT_FALSE(connected);
    EXPECT_TRUE(is_halted()) << "closing does not set it running";
    EXPECT_EQ(protection(), NONE);
}

TEST(Library, reachesTheRegistersOfDebugAndAccessPorts)
{
    const Device device;
    std::uint32_t value = 0;
    EXPECT_OK(TESSIT_read_access_port_register(1, 0xFC, &value));
    EXPECT_EQ(value, 0x02880000U);
    EXPECT_OK(TESSIT_write_access_port_register(0, 0x04, 0x12345670));
    EXPECT_OK(TESSIT_read_access_port_register(1, 0x0C, &value));
    EXPECT_OK(TESSIT_read_access_port_register(0, 0x04, &value));
    EXPECT_EQ(value, 0x12345670U);
    EXPECT_OK(TESSIT_read_debug_port_register(0x04, &value));
    EXPECT_EQ(value, 0xF0000000U);
    EXPECT_OK(TESSIT_write_debug_port_register(0x14, 0x300)); // DLCR, of bank 1
    EXPECT_OK(TESSIT_read_debug_port_register(0x14, &value));
    EXPECT_EQ(value, 0x340U);
    EXPECT_OK(TESSIT_read_debug_port_register(0x04, &value)); // of bank 0 again
    EXPECT_EQ(value, 0xF0000000U);
    EXPECT_OK(TESSIT_read_debug_port_register(0x00, &value));
    EXPECT_EQ(value, 0x2BA01477U);
}

TEST(Library, resetsInThreeWays)
{
    const Device device{"BIRCH_M1_VA_REV2", "", "real_time = true\n"};
    const auto take_reasons = [] {
        const std::uint32_t reasons = word_at(reset_reasons);
        EXPECT_OK(TESSIT_write_u32(reset_reasons, blank, 0));
        return reasons;
    };
    EXPECT_OK(TESSIT_debug_reset()); // not connected
    EXPECT_FALSE(is_halted());
    EXPECT_EQ(take_reasons(), 1U << 18);
    EXPECT_OK(TESSIT_debug_reset());
    EXPECT_FALSE(is_halted());
    EXPECT_EQ(take_reasons(), 4U);
    EXPECT_OK(TESSIT_go());
    EXPECT_OK(TESSIT_pin_reset());
    EXPECT_FALSE(is_halted());
    EXPECT_EQ(take_reasons(), 1U);
    EXPECT_OK(TESSIT_sys_reset());
    EXPECT_TRUE(is_halted());
    EXPECT_EQ(take_reasons(), 4U);
}

TEST(Library, protectsAndRecovers)
{
    Device device;
    EXPECT_OK(TESSIT_unpower_ram_section(3));
    EXPECT_EQ(protection(), NONE);
    EXPECT_OK(TESSIT_readback_protect(FULL));
    EXPECT_EQ(device.peek_word(0x10001208), 0xFFFFFF00U);
    EXPECT_EQ(protection(), FULL);
    EXPECT_EQ(TESSIT_halt(), ERR_PROTECTED);
    EXPECT_OK(TESSIT_debug_reset());
    const auto expect_blank = [&] {
        EXPECT_EQ(protection(), NONE);
        EXPECT_EQ(word_at(0), blank);
        EXPECT_EQ(word_at(0x10001208), blank);
        EXPECT_EQ(word_at(0x10001080), blank);
        EXPECT_EQ(word_at(0x40000910), 3U) << "the section has its power again";
        EXPECT_EQ(word_at(reset_reasons), 0U);
        EXPECT_TRUE(is_halted());
        std::uint32_t program_counter = 0;
        EXPECT_OK(TESSIT_read_cpu_register(R15, &program_counter));
        EXPECT_EQ(program_counter, 0xFFFFFFFE) << "as a blank chip starts";
    };
    EXPECT_OK(TESSIT_recover());
    expect_blank();
    EXPECT_THAT(device.take_records(), testing::Each(testing::StartsWith("cpu-fault")))
        << "the firmware ran on as its flash was erased";
    // Also when nothing stands in the way.
    device.put_firmware();
    EXPECT_OK(TESSIT_write_u32(0x10001080, 5, 1));
    EXPECT_OK(TESSIT_unpower_ram_section(2));
    EXPECT_OK(TESSIT_sys_reset());
    EXPECT_OK(TESSIT_go());
    EXPECT_OK(TESSIT_recover());
    expect_blank();
}

TEST(Library, recoversAChipWithProtectedBlocks)
{
    const Device device{"BIRCH_M2_VA_REV1", "protected_blocks = [0]\n"};
    EXPECT_OK(TESSIT_recover());
    EXPECT_EQ(word_at(0), blank);
}

#if defined(TESSIT_SIM_CPU_UNICORN) // the register-file CPU executes nothing
TEST(Library, runsStepsAndSetsTheCpu)
{
    const Device device;
    std::uint32_t value = 0;
    device.poke_word(0x300, 0x30022001); // movs r0, #1; adds r0, #2
    EXPECT_OK(TESSIT_run(0x200, ram + 0x800));
    EXPECT_EQ(TESSIT_step(), ERR_WRONG_STATE);
    EXPECT_OK(TESSIT_read_cpu_register(R13, &value));
    EXPECT_EQ(value, ram + 0x800);
    EXPECT_OK(TESSIT_write_cpu_register(R15, 0x300));
    EXPECT_OK(TESSIT_step());
    EXPECT_OK(TESSIT_step());
    EXPECT_OK(TESSIT_read_cpu_register(R0, &value));
    EXPECT_EQ(value, 3U);
    EXPECT_OK(TESSIT_read_cpu_register(R15, &value));
    EXPECT_EQ(value, 0x304U);
}
#endif

/// What firmware with one ring in each direction leaves in RAM.
void put_rtt(const Device& device, std::uint32_t block)
{
    const std::uint32_t names = block + 0x80;
    const std::uint32_t words[]{names, block + 0x100, 64, 3, 0, 0, names + 4, block + 0x140, 32, 0, 0, 0};
    device.poke_word(block + 16, 1);
    device.poke_word(block + 20, 1);
    for (std::uint32_t i = 0; i < std::size(words); ++i) {
        device.poke_word(block + 24 + 4 * i, words[i]);
    }
    device.poke_word(names, 0x00676F6C);     // "log"
    device.poke_word(names + 4, 0x00006E69); // "in"
    device.poke_word(block + 0x100, 0x00636261);
    const char id[16] = "SEGGER RTT";
    JLINKSIM_poke(TempBench::serial_number, block, id, sizeof id);
}

TEST(Library, talksOverRttOnEveryChip)
{
    struct Case
    {
        const char* version;
        std::uint32_t ram_bytes;
        std::uint32_t block = 0; ///< given instead of searched for
    };
    for (const auto& [version, ram_bytes, given] :
         {Case{"BIRCH_M1_VA_REV2", 0x10000}, Case{"BIRCH_M1_VB_REV1", 0x8000}, Case{"BIRCH_M2_VA_REV1", 0x40000},
          Case{"BIRCH_M3_VA_REV1", 0x6000}, Case{"BIRCH_M1_VA_ENGA", 0x10000},
          Case{"BIRCH_M1_VA_REV2", 0x10000, ram + 0x404}}) {
        SCOPED_TRACE(version);
        const Device device{version};
        const std::uint32_t block = given != 0 ? given : ram + ram_bytes - 0x200;
        put_rtt(device, block);
        if (given != 0) {
            put_rtt(device, ram + 0x10); // a search would find this one
            device.poke_word(ram + 0x10 + 16, 2);
            EXPECT_OK(TESSIT_rtt_set_control_block_address(block));
        }
        EXPECT_OK(TESSIT_rtt_start());
        bool found = false;
        for (int tries = 0; tries < 1000 && !found; ++tries) {
            EXPECT_OK(TESSIT_rtt_is_control_block_found(&found));
        }
        ASSERT_TRUE(found);
        std::uint32_t down = 0;
        std::uint32_t up = 0;
        EXPECT_OK(TESSIT_rtt_read_channel_count(&down, &up));
        EXPECT_EQ(up, 1U);
        EXPECT_EQ(down, 1U);
        std::array<char, 32> name{};
        std::uint32_t size = 0;
        EXPECT_OK(TESSIT_rtt_read_channel_info(0, UP_DIRECTION, name.data(), 32, &size));
        EXPECT_STREQ(name.data(), "log");
        EXPECT_EQ(size, 64U);
        EXPECT_OK(TESSIT_rtt_read_channel_info(0, DOWN_DIRECTION, name.data(), 32, &size));
        EXPECT_STREQ(name.data(), "in");
        EXPECT_EQ(size, 32U);
        std::array<std::uint8_t, 10> bytes{};
        std::uint32_t count = 0;
        EXPECT_OK(TESSIT_rtt_read(0, bytes.data(), 10, &count));
        EXPECT_EQ(count, 3U);
        EXPECT_EQ(bytes[2], 'c');
        EXPECT_OK(TESSIT_rtt_write(0, bytes.data(), 3, &count));
        EXPECT_EQ(count, 3U);
        EXPECT_OK(TESSIT_rtt_is_control_block_found(&found)); // a poll later
        EXPECT_OK(TESSIT_halt());
        EXPECT_EQ(device.peek_word(block + 0x140) & 0xFFFFFF, 0x636261U);
        EXPECT_OK(TESSIT_rtt_stop());
    }
}

} // namespace
} // namespace tessit_test
