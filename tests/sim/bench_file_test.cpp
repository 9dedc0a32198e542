#include "jlinkarm_sim.h"
#include "tests/support/temp_folder.h"

#include <array>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace tessit_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct BadBench
{
    const char* toml;
    int line;
    const char* reason;
};

TEST(BenchFile, isRefusedWithFileLineAndReason)
{
    const std::array benches{
        BadBench{"[[probe]\n", 1, ""},
        BadBench{"\nprobes = 3\n", 2, "probes: is not known here"},
        BadBench{"probe = 3\n", 1, "probe: expected a list"},
        BadBench{"probe = [3]\n", 1, "probe: expected [[probe]]"},
        BadBench{"real_time = 1\n", 1, "real_time: expected true or false"},
        BadBench{"[[probe]]\nplugged = true\n", 1, "serial: is missing"},
        BadBench{"[[probe]]\nserial = 0\n", 2, "serial: expected a whole number from 1 to 2147483647"},
        BadBench{"[[probe]]\nserial = \"5\"\n", 2, "serial: expected a whole number"},
        BadBench{"[[probe]]\nserial = 5\n[[probe]]\nserial = 5\n", 4, "serial: 5 is the serial number of another"},
        BadBench{"[[probe]]\nserial = 5\nsupply_mv = 5001\n", 3, "supply_mv: expected a whole number from 0 to 5000"},
        BadBench{"[[probe]]\nserial = 5\nfirmware = 5\n", 3, "firmware: expected a text"},
        BadBench{"[[probe]]\nserial = 5\nchip = \"BIRCH_M1_VA_REV1\"\n", 3, "chip: expected a table"},
        BadBench{"[[probe]]\nserial = 5\n[probe.chip]\n", 3, "version: is missing"},
        BadBench{"[[probe]]\nserial = 5\n[probe.chip]\nversion = \"OAK\"\n", 4, "version: 'OAK' is not a chip version"},
    };
    const TempFolder folder;
    const std::string path = (folder.path() / "bad.toml").string();
    for (const BadBench& bad : benches) {
        folder.write("bad.toml", bad.toml);
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0) << bad.toml;
        EXPECT_THAT(JLINKSIM_error_text(), StartsWith(path + ":" + std::to_string(bad.line) + ": ")) << bad.toml;
        EXPECT_THAT(JLINKSIM_error_text(), HasSubstr(bad.reason)) << bad.toml;
    }
}

TEST(BenchFile, refusesChipsThatCannotBe)
{
    struct BadChip
    {
        const char* version;
        const char* line; ///< the file's fifth
        const char* reason;
    };
    const std::array chips{
        BadChip{"BIRCH_M1_VA_REV2", "speed = 3", "speed: is not known here"},
        BadChip{"BIRCH_M1_VA_ENGA", "protected = true", "protected: a chip without a CTRL-AP"},
        BadChip{"BIRCH_M1_VA_REV2", "protected_blocks = [0, 128]", "expected a whole number from 0 to 127"},
        BadChip{"BIRCH_M1_VA_REV2", "protected_blocks = 3", "protected_blocks: expected a list"},
        BadChip{"BIRCH_M1_VA_REV2", "flash_fill = 256", "flash_fill: expected a whole number from 0 to 255"},
        BadChip{"BIRCH_M1_VA_REV2", "flash_file = \"missing.bin\"", "missing.bin"},
        BadChip{"BIRCH_M1_VA_REV2", "flash_file = \".\"", "not a regular file"},
        BadChip{"BIRCH_M3_VA_REV1", "flash_file = \"large.bin\"", "5368709120 bytes, and at most 196608 fit"},
        BadChip{"BIRCH_M1_VA_REV2", "faults = [\"flood\"]", "faults: 'flood' is not a fault"},
        BadChip{"BIRCH_M1_VA_REV2", "ficr = { \"0x131\" = 1 }", "0x131: expected part"},
        BadChip{"BIRCH_M1_VA_REV2", "ficr = { \"0x1000\" = 1 }", "0x1000: expected part"},
        BadChip{"BIRCH_M1_VA_REV2", "ficr = { part = -1 }", "part: expected a whole number"},
        BadChip{"BIRCH_M1_VA_REV2", "rom_table = { part = 0x1000 }", "part: expected a whole number from 0 to 4095"},
        BadChip{"BIRCH_M1_VA_REV2", "external_flash = { size = 65536 }", "BIRCH_M1_VA_REV2 has no QSPI"},
        BadChip{"BIRCH_M2_VA_REV1", "external_flash = { size = 65537 }", "expected a power of two"},
    };
    const TempFolder folder;
    std::filesystem::resize_file(folder.write("large.bin", ""), 5ULL << 30); // holes only
    const std::string path = (folder.path() / "bad.toml").string();
    for (const BadChip& bad : chips) {
        folder.write("bad.toml", std::string{"[[probe]]\nserial = 5\n[probe.chip]\nversion = \""} + bad.version +
                                     "\"\n" + bad.line + "\n");
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0) << bad.line;
        EXPECT_THAT(JLINKSIM_error_text(), StartsWith(path + ":5: ")) << bad.line;
        EXPECT_THAT(JLINKSIM_error_text(), HasSubstr(bad.reason)) << bad.line;
    }
}

TEST(BenchFile, isRefusedWhenItHasNoEndOrTooManyProbes)
{
    const TempFolder folder;
    std::string crowd;
    for (int serial = 1; serial <= 300; ++serial) {
        crowd += "[[probe]]\nserial = " + std::to_string(serial) + "\n";
    }
    std::string huge;
    while (huge.size() < 4U << 20) {
        huge += crowd;
    }
    const std::array<std::pair<std::string, const char*>, 2> files{{
        {folder.write("crowd.toml", crowd).string(), "at most 256"},
        {folder.write("huge.toml", huge).string(), "at most 1048576 fit"},
    }};
    for (const auto& [path, reason] : files) {
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0) << path;
        EXPECT_THAT(JLINKSIM_error_text(), testing::AllOf(HasSubstr(path), HasSubstr(reason)));
    }
}

TEST(BenchFile, thatCannotBeOpenedLeavesTheOpenBenchAlone)
{
    const TempFolder folder;
    const std::string good = folder.write("good.toml", "[[probe]]\nserial = 5\n").string();
    ASSERT_EQ(JLINKSIM_open_bench(good.c_str()), 0);
    EXPECT_LT(JLINKSIM_open_bench((folder.path() / "none.toml").string().c_str()), 0);
    EXPECT_THAT(JLINKSIM_error_text(), HasSubstr("none.toml"));
    EXPECT_EQ(JLINKSIM_bench_path(), good);
    EXPECT_EQ(JLINKSIM_count_probes(), 1);
    JLINKSIM_close_bench();
}

TEST(BenchFile, exampleDescribesTheBuiltInBench)
{
    const TempFolder folder;
    const std::string path = (folder.path() / "example.toml").string();
    ASSERT_EQ(JLINKSIM_write_example_bench(path.c_str()), 0);
    EXPECT_LT(JLINKSIM_write_example_bench(path.c_str()), 0) << "it must not be overwritten";
    EXPECT_THAT(JLINKSIM_error_text(), HasSubstr("exists already"));
    ASSERT_EQ(JLINKSIM_open_bench(path.c_str()), 0) << JLINKSIM_error_text();
    EXPECT_EQ(JLINKSIM_count_probes(), 3);
    jlinksim_probe_t probe{};
    ASSERT_EQ(JLINKSIM_describe_probe(1, &probe), 0);
    EXPECT_EQ(probe.serial_number, 600000002U);
    EXPECT_STREQ(probe.chip_version, "BIRCH_M2_VA_REV1");
    EXPECT_EQ(probe.external_flash_bytes, 8388608U);
    JLINKSIM_close_bench();

    // Every line that is commented out is a valid one.
    std::string text = folder.read("example.toml");
    text.replace(text.find("# firmware"), 2, "");
    text.replace(text.find("# supply_mv"), 2, "");
    text.replace(text.find("# plugged"), 2, "");
    for (const char* const key : {"# protected =", "# flash_file", "# flash_fill", "# protected_blocks", "# faults",
                                  "# ficr", "# rom_table", "# real_time", "# page", "# wip_bit", "# missing"}) {
        text.replace(text.find(key), 2, "");
    }
    folder.write("firmware.bin", "firmware");
    folder.write("full.toml", text);
    EXPECT_EQ(JLINKSIM_open_bench((folder.path() / "full.toml").string().c_str()), 0) << JLINKSIM_error_text();
    JLINKSIM_close_bench();
}

} // namespace
} // namespace tessit_test
