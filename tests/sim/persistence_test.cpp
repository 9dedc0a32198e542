#include "base/environment.h"
#include "tests/sim/target_session.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tessit_test {
namespace {

using tessit::base::set_environment;

TEST(State, isFoundByTheNextProcessAsTheLastOneLeftIt)
{
    HaltedChip bench{"BIRCH_M2_VA_REV1", "external_flash = { size = 65536 }\n"};
    program_word(0x1000, 0x12345678);
    program_word(0x10001080, 5);
    write_word(ram + 0x100, 0xCAFE);
    write_word(0x40000908, 2); // RAM section 1 off
    write_word(0x50000700, 0x302);
    EXPECT_EQ(JLINKARM_WriteReg(3, 77), 0);
    close_probe();
    bench.reopen();

    ASSERT_TRUE(open_probe());
    ASSERT_GE(JLINKARM_Connect(), 0);
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    EXPECT_EQ(JLINKARM_ReadReg(3), 77U);
    EXPECT_EQ(read_word(0x1000), 0x12345678U);
    EXPECT_EQ(read_word(0x10001080), 5U);
    EXPECT_EQ(read_word(ram + 0x100), 0xCAFEU);
    EXPECT_EQ(read_word(0x40000900), 1U);
    EXPECT_EQ(read_word(0x50000700), 0x302U);
    EXPECT_TRUE(bench.take_records().empty());
    write_word(ram + 0x1000, 0);
    EXPECT_EQ(bench.take_records().size(), 1U) << "the section is still off";
}

TEST(State, isMadeAgainWhenItsMakingWasInterrupted)
{
    HaltedChip bench{"BIRCH_M1_VA_REV2", "flash_fill = 0\n"};
    close_probe();
    const std::filesystem::path folder = bench.path() + ".state/600000011";
    std::filesystem::remove(folder / "chip.txt");
    std::filesystem::resize_file(folder / "flash.bin", 100);
    bench.reopen();
    connect_halted();
    EXPECT_EQ(read_word(0x1000), 0U);
}

TEST(State, comesBackFromTheBenchFileAtAFactoryReset)
{
    const HaltedChip bench{"BIRCH_M1_VA_REV2", "flash_fill = 0x5A\n"};
    program_word(0x1000, 0);
    write_word(ram, 1);
    ASSERT_EQ(JLINKSIM_factory_reset(TempBench::serial_number), 0) << JLINKSIM_error_text();
    EXPECT_EQ(bench.peek_word(0x1000), 0x5A5A5A5AU);
    EXPECT_NE(bench.peek_word(ram), 1U);
}

TEST(State, ofABenchFileStandsWhereTheEnvironmentSays)
{
    const TempFolder folder;
    const std::string bench = folder.write("bench.toml", "[[probe]]\nserial = 7\n").string();
    set_environment("JLINKARM_SIM_STATE", (folder.path() / "elsewhere").string());
    ASSERT_EQ(JLINKSIM_open_bench(bench.c_str()), 0) << JLINKSIM_error_text();
    EXPECT_EQ(JLINKSIM_records_path(), (folder.path() / "elsewhere/records").string());
    JLINKSIM_close_bench();
    set_environment("JLINKARM_SIM_STATE", "");
}

TEST(State, ofTheBuiltInBenchStandsWhereTheEnvironmentSays)
{
    const TempFolder folder;
    set_environment("JLINKARM_SIM_STATE", folder.path().string());
    set_environment("JLINKARM_SIM_BENCH", "");
    ASSERT_EQ(JLINKSIM_open_bench(nullptr), 0) << JLINKSIM_error_text();
    EXPECT_STREQ(JLINKSIM_bench_path(), "");
    ASSERT_EQ(JLINKSIM_count_probes(), 3);
    std::vector<std::string> versions;
    for (std::uint32_t i = 0; i < 3; ++i) {
        jlinksim_probe_t probe{};
        ASSERT_EQ(JLINKSIM_describe_probe(i, &probe), 0) << JLINKSIM_error_text();
        EXPECT_EQ(std::filesystem::path{probe.state_folder}, folder.path() / std::to_string(probe.serial_number));
        EXPECT_EQ(probe.flash_used_bytes, 0U);
        EXPECT_EQ(probe.uicr_blank, 1U);
        versions.emplace_back(probe.chip_version);
    }
    EXPECT_THAT(versions, testing::ElementsAre("BIRCH_M1_VA_REV2", "BIRCH_M2_VA_REV1", "BIRCH_M3_VA_REV1"));
    JLINKSIM_close_bench();
    set_environment("JLINKARM_SIM_STATE", "");
}

} // namespace
} // namespace tessit_test
