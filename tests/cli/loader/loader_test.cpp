// The flash loader, as users meet it: what it finds, what it leaves as it was, and what happens when it is cut off.
#include "tests/cli/program/bench_fixture.h"

#include <csignal>
#include <filesystem>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kib = 1024;

class LoaderTest : public BenchTest
{
protected:
    /// In its factory state.
    void set_new_chip(const std::string& version, const std::string& lines = "")
    {
        std::filesystem::remove_all(path("bench.toml.state"));
        set_chip(version, lines);
    }

    /// By reading every byte, without the loader.
    void expect_chip_holds(const std::string& image) const
    {
        EXPECT_THAT(tessit({"verify", image, "--loader", "off"}), Exits(0));
    }
};

TEST_F(LoaderTest, FindsEveryWrongByteOfAPageAndNamesIt)
{
    constexpr std::size_t page = 4 * kib;
    constexpr std::size_t pages = 128;
    binary("image.bin", pages * page);
    const std::string good = std::string(8, '\xFF') + content("image.bin").substr(8); // without a program
    const std::string image = file("image.bin", good) + "@0";
    // Every place within a page goes wrong once, in one of the pages; each bit in turn.
    for (std::size_t round = 0; round < page / pages; ++round) {
        std::string wrong = good;
        for (std::size_t i = 0; i < pages; ++i) {
            const std::size_t place = i * page + (round * pages + i) % page;
            wrong[place] = static_cast<char>(wrong[place] ^ 1 << (i + round) % 8);
        }
        set_new_chip("BIRCH_M1_VA_REV2", fmt::format("flash_file = \"{}\"", file("wrong.bin", wrong)));
        const Outcome outcome = tessit({"verify", image});
        ASSERT_THAT(outcome, FailsWith(6, fmt::format("in {} bytes", pages)));
        EXPECT_THAT(outcome.errors, HasSubstr(fmt::format("{:#010x}  expected", round * pages)));
    }
    take_records(); // of a chip whose program is noise
}

TEST_F(LoaderTest, WorksOnEveryChip)
{
    for (const char* const version :
         {"BIRCH_M1_VA_ENGA", "BIRCH_M1_VA_ENGB", "BIRCH_M1_VA_REV1", "BIRCH_M1_VA_REV2", "BIRCH_M1_VA_FUTURE",
          "BIRCH_M1_VB_REV1", "BIRCH_M1_VB_REV2", "BIRCH_M1_VB_FUTURE", "BIRCH_M2_VA_ENGA", "BIRCH_M2_VA_ENGB",
          "BIRCH_M2_VA_REV1", "BIRCH_M2_VA_FUTURE", "BIRCH_M3_VA_REV1", "BIRCH_M3_VA_FUTURE"}) {
        SCOPED_TRACE(version);
        set_new_chip(version);
        const std::string old = binary("old.bin", 6 * kib, 1) + "@0x1000";
        const std::string image = binary("image.bin", 18 * kib, 2) + "@0x1002"; // partial words and pages
        ASSERT_THAT(tessit({"program", old}), Exits(0));
        const std::string before = memory("0x1000+2");
        const auto result = tessit_json({"program", image, "0x10001080=0x12345678", "--loader", "on"});
        EXPECT_EQ(result["loader"], true);
        EXPECT_EQ(result["compared_by"], "checksums");
        EXPECT_EQ(result["protection_lifted"], false) << "all was written at once";
        expect_chip_holds(image);
        EXPECT_EQ(memory("0x1000+2"), before);
        EXPECT_EQ(memory("0x10001080+4"), "78563412");
    }
}

TEST_F(LoaderTest, LeavesRunningFirmwareAsItWas)
{
    const std::string image = std::string{FIRMWARE_FOLDER} + "/scheduler.hex";
    ASSERT_THAT(tessit({"program", image, "--reset"}), Exits(0));
    EXPECT_THAT(tessit({"rtt", "--no-input", "--until", "two 3", "--timeout", "5"}), Exits(0));
    EXPECT_EQ(tessit_json({"verify", image, "--loader", "on"})["loader"], true);
    EXPECT_EQ(cpu(), "running");
    EXPECT_THAT(tessit({"rtt", "--no-input", "--until", "two 6", "--timeout", "5"}), Exits(0)) << "it went on";

    ASSERT_THAT(tessit({"halt"}), Exits(0));
    const std::string ram = memory("ram");
    const auto registers = [this] { // with those that catch a reset and say where the vectors are
        return tessit({"reg"}).output + memory("0xE000EDFC+4") + memory("0xE000ED08+4");
    };
    const std::string before = registers();
    EXPECT_THAT(tessit({"verify", image, "--loader", "on"}), Exits(0));
    const std::string other = binary("other.bin", 64 * kib);
    EXPECT_THAT(tessit({"program", other + "@0", "--erase", "none", "--loader", "on"}),
                FailsWith(1, "without an erase"));
    RunningCommand command{{"--sim", "-v", "verify", image, "--loader", "on"}, environment()};
    ASSERT_TRUE(command.wait_for("Birch_rtt_read\n"));
    command.signal(SIGINT);
    EXPECT_THAT(command.finish(), Exits(130));
    EXPECT_TRUE(memory("ram") == ram);
    EXPECT_EQ(registers(), before);

    // What follows it begins as after a reset.
    EXPECT_EQ(tessit_json({"program", image, other + "@0x8000"})["ram_kept"], false);
    EXPECT_EQ(memory("0xE000E010+4"), "04000000") << "the old firmware's SysTick is off";
    EXPECT_EQ(memory("0xE000EDFC+4") + memory("0xE000ED08+4"), "0000000100000000") << "the trace unit's power alone";
    const auto vectors = tessit_json({"read", "0+8", "--words"})["words"];
    const auto cpu = tessit_json({"halt"});
    EXPECT_EQ(cpu["pc"].get<std::uint32_t>(), vectors[1].get<std::uint32_t>() & ~1U);
    EXPECT_EQ(cpu["sp"].get<std::uint32_t>(), vectors[0].get<std::uint32_t>() & ~3U);
}

TEST_F(LoaderTest, StandsAsideWithoutAWordWhereItCannotRun)
{
    const std::string image = binary("image.bin", 64 * kib) + "@0";
    const auto expect_direct = [&](const Environment& environment) {
        const Outcome outcome = tessit({"program", image}, environment);
        EXPECT_THAT(outcome, Exits(0));
        EXPECT_THAT(outcome.errors, Not(HasSubstr("loader")));
        expect_chip_holds(image);
        EXPECT_THAT(tessit({"verify", image, "--loader", "on"}, environment),
                    FailsWith(1, "does not run on this chip"));
    };
    expect_direct({{"JLINKARM_SIM_FAULTS", "JLINKARM_Go#1=0+0"}}); // a CPU that does not execute
    set_new_chip("BIRCH_M3_VA_REV1");
    for (int section = 0; section < 6; ++section) {
        ASSERT_THAT(tessit({"ram", "off", std::to_string(section)}), Exits(0));
    }
    expect_direct({});
    ASSERT_THAT(tessit({"ram", "on"}), Exits(0));
    ASSERT_THAT(tessit({"ram", "off", "0"}), Exits(0));
    EXPECT_EQ(tessit_json({"verify", image})["loader"], true) << "in the section behind the one without power";
}

TEST_F(LoaderTest, WhatItCannotDoIsDoneWithoutIt)
{
    const std::string image = binary("image.bin", 64 * kib) + "@0";
    set_chip("BIRCH_M1_VA_REV2", "protected_blocks = [3]");
    Outcome outcome = tessit({"program", image});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.errors, HasSubstr("cannot write 0x00003000, which holds 0xffffffff; going on without it"));
    EXPECT_THAT(outcome.output, HasSubstr("block protection lifted"));
    expect_chip_holds(image);
    EXPECT_THAT(take_records(), HasSubstr("flash-block-protected"));

    set_chip("BIRCH_M1_VA_REV2");
    const std::string other = binary("other.bin", 64 * kib, 2) + "@0";
    outcome = tessit({"program", other}, {{"JLINKARM_SIM_FAULTS", "JLINK_RTTERMINAL_Read#40=0+0"}});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.errors, HasSubstr("does not answer any more; going on without it"));
    expect_chip_holds(other);

    set_chip("BIRCH_M1_VA_REV2", "faults = [\"flash_never_ready\"]");
    EXPECT_THAT(tessit({"program", image}), FailsWith(1, "ready"));
    take_records();
    set_chip("BIRCH_M1_VA_REV2");
    EXPECT_THAT(tessit({"program", image}), Exits(0));
    expect_chip_holds(image);
}

TEST_F(LoaderTest, CutOffAnywhereTheNextCommandCompletesIt)
{
    const std::string images[] = {binary("a.bin", 64 * kib, 1) + "@0", binary("b.bin", 64 * kib, 2) + "@0"};
    std::size_t next = 0;
    for (const char* const call :
         {"JLINKARM_Go#2", "JLINKARM_WriteMem#2", "JLINKARM_Reset#1", "JLINK_RTTERMINAL_Control#30",
          "JLINK_RTTERMINAL_Write#2", "JLINK_RTTERMINAL_Write#9", "JLINK_RTTERMINAL_Write#70",
          "JLINK_RTTERMINAL_Read#9"}) {
        SCOPED_TRACE(call);
        const std::string image = images[++next % 2];
        const Outcome outcome = tessit({"program", image}, {{"JLINKARM_SIM_FAULTS", call + std::string{"@unplug"}}});
        EXPECT_THAT(outcome, FailsWith(3, "was lost"));
        ASSERT_THAT(tessit({"program", image}), Exits(0));
        expect_chip_holds(image);
    }
    for (const int signal : {SIGKILL, SIGINT}) {
        for (const int count : {1, 20}) {
            SCOPED_TRACE(testing::Message() << "signal " << signal << " at write " << count);
            const std::string image = images[++next % 2];
            RunningCommand command{{"--sim", "-v", "--progress=json", "program", image}, environment()};
            ASSERT_TRUE(command.wait_for("Birch_rtt_write\"", count));
            command.signal(signal);
            EXPECT_THAT(command.finish(), Exits(signal == SIGINT ? 130 : 128 + SIGKILL));
            if (signal == SIGINT) {
                EXPECT_EQ(cpu(), "halted");
            }
            ASSERT_THAT(tessit({"program", image}), Exits(0));
            expect_chip_holds(image);
        }
    }
}

} // namespace
} // namespace tessit::cli
