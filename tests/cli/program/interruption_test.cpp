// Commands that are cut short: killed, interrupted, or left without their probe.
#include "tests/cli/program/bench_fixture.h"

#include <csignal>

namespace tessit::cli {
namespace {

using testing::HasSubstr;

class InterruptionTest : public BenchTest
{
protected:
    // Two images that differ everywhere: programming the second erases page by page.
    InterruptionTest()
        : old_{binary("old.bin", length, 1)}, far_{binary("far.bin", 4096, 3)}, new_{binary("new.bin", length, 2)}
    {
    }

    void SetUp() override { ASSERT_THAT(tessit({"program", old_ + "@0", far_ + "@0x7F000"}), Exits(0)); }

    // Caught while it erases: its narration is no longer read, so it cannot go on.
    Outcome stopped_in_the_middle_by(int signal) const
    {
        RunningCommand command{{"--sim", "-v", "program", new_ + "@0"}, environment()};
        EXPECT_TRUE(command.wait_for("Birch_erase_page", 10));
        EXPECT_THAT(tessit({"info"}), FailsWith(1, "in use by another program"));
        command.signal(signal);
        return command.finish();
    }

    static constexpr std::size_t length = std::size_t{40} * 4096;
    std::string old_;
    std::string far_; // elsewhere, or it would be cheaper to erase everything at once
    std::string new_;
};

TEST_F(InterruptionTest, AProgramThatIsCutShortLeavesTheProbeFreeAndTheChipAsFarAsItWas)
{
    EXPECT_THAT(stopped_in_the_middle_by(SIGKILL), Exits(128 + SIGKILL));
    EXPECT_EQ(memory("0+4"), "ffffffff");       // the first page was erased
    EXPECT_NE(memory("0x27000+4"), "ffffffff"); // the last one was not
    const Outcome outcome = stopped_in_the_middle_by(SIGINT);
    EXPECT_THAT(outcome, FailsWith(130, "partly written"));
    EXPECT_THAT(outcome.errors, HasSubstr("Birch_close_dll"));
    EXPECT_NE(memory("0x27000+4"), "ffffffff");
    EXPECT_THAT(tessit({"program", new_ + "@0"}), Exits(0));
    EXPECT_THAT(tessit({"verify", new_ + "@0"}), Exits(0));
}

TEST_F(InterruptionTest, CtrlCKeepsTheResultsOfTheBoardsThatAreDone)
{
    set_bench(content("bench.toml") + "[[probe]]\nserial = 600000012\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n");
    ASSERT_THAT(tessit({"--probe", "12", "program", old_ + "@0", far_ + "@0x7F000"}), Exits(0));
    RunningCommand command{{"--sim", "-v", "--json", "--all-probes", "program", new_ + "@0"}, environment()};
    ASSERT_TRUE(command.wait_for("Probe 600000012"));
    ASSERT_TRUE(command.wait_for("Birch_erase_page", 5));
    command.signal(SIGINT);
    const Outcome outcome = command.finish();
    EXPECT_THAT(outcome, Exits(130));
    const auto json = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(json["probes"][0]["verified"], true);
    EXPECT_EQ(json["probes"][1]["error"]["code"], 130);
}

TEST_F(InterruptionTest, APulledCableIsNamedWithTheStateOfTheFlash)
{
    const Outcome outcome = tessit({"program", new_ + "@0"}, {{"JLINKARM_SIM_FAULTS", "JLINKARM_WriteMem#2@unplug"}});
    EXPECT_THAT(outcome,
                FailsWith(3, "the connection to probe 600000011 was lost: JLinkARM.dll WriteMem returned error"));
    EXPECT_THAT(outcome.errors, HasSubstr("partly written"));
    EXPECT_THAT(tessit({"program", new_ + "@0"}), Exits(0));
    EXPECT_THAT(tessit({"verify", new_ + "@0"}), Exits(0));
}

TEST_F(InterruptionTest, AWriteThatTheChipDidNotTakeIsFoundByReadingBack)
{
    const Environment all_lost{{"JLINKARM_SIM_FAULTS", "JLINKARM_WriteMem#2=0+0"}};
    EXPECT_THAT(tessit({"program", new_ + "@0"}, all_lost), FailsWith(6, "differs from what was written"));
    const Environment one_lost{{"JLINKARM_SIM_FAULTS", "JLINKARM_WriteMem#2=0"}};
    EXPECT_THAT(tessit({"program", old_ + "@0"}, one_lost), Exits(0));
    EXPECT_THAT(tessit({"verify", old_ + "@0"}), Exits(0)) << "it was written again";
    EXPECT_THAT(tessit({"program", new_ + "@0", "--no-verify"}, one_lost), Exits(0));
}

} // namespace
} // namespace tessit::cli
