// Which probe, which J-Link library, which settings.
#include "tests/cli/program/bench_fixture.h"

#include <filesystem>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class ProbesTest : public BenchTest
{
protected:
    ProbesTest()
    {
        set_bench("[[probe]]\nserial = 600000011\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n"
                  "[[probe]]\nserial = 600000012\n[probe.chip]\nversion = \"BIRCH_M3_VA_REV1\"\n"
                  "[[probe]]\nserial = 700000011\nsupply_mv = 1400\n[probe.chip]\nversion = \"BIRCH_M2_VA_REV1\"\n");
    }
};

TEST_F(ProbesTest, AProbeIsNamedByAUniqueEndingBeforeOrAfterTheVerb)
{
    EXPECT_EQ(tessit({"list"}).output, "600000011\n600000012\n700000011\n");
    EXPECT_EQ(tessit_json({"list"})["probes"][2]["probe"], 700000011);
    EXPECT_THAT(tessit({"--probe", "12", "info"}).output, HasSubstr("BIRCH_M3_VA_REV1"));
    EXPECT_THAT(tessit({"info", "--probe", "600000011"}).output, HasSubstr("BIRCH_M1_VA_REV2"));
    EXPECT_THAT(tessit({"info"}), FailsWith(3, "600000011, 600000012, 700000011"));
    EXPECT_THAT(tessit({"--probe", "11", "info"}), FailsWith(3, "600000011, 700000011"));
    EXPECT_THAT(tessit({"--probe", "99", "info"}), FailsWith(3, "99"));
    EXPECT_THAT(tessit({"--probe", "700000011", "erase", "--all"}), FailsWith(4, "1.5 V"));
    set_bench("");
    EXPECT_THAT(tessit({"info"}), FailsWith(3, "no probe is attached\nHint: `tessit sim show`"));
    EXPECT_EQ(tessit_json({"list"}, 3)["probes"].size(), 0);
    set_bench("[[probe]]\nserial = 1\n");
    EXPECT_THAT(tessit({"info"}), Exits(4));
}

TEST_F(ProbesTest, TheJLinkLibraryIsTheOneThatIsNamedAndNeverTheSimulationByItself)
{
    const std::string missing = path("libjlinkarm.so");
    EXPECT_THAT(run_command({"--jlink", missing, "list"}, environment()), FailsWith(1, missing));
    EXPECT_THAT(run_command({"list"}, environment({{"TESSIT_JLINK", missing}})), FailsWith(1, missing));
    EXPECT_THAT(run_command({"--jlink", file("text.so", "no library"), "list"}, environment()),
                FailsWith(1, "cannot be loaded"));
    EXPECT_THAT(tessit({"list"}, {{"TESSIT_JLINK", missing}}), Exits(0)); // the flag goes before the environment
}

TEST_F(ProbesTest, FlagsGoBeforeTheEnvironmentAndThatBeforeTheConfigFile)
{
    Environment settings{{"TESSIT_CONFIG", file("config.toml", "probe = \"600000012\"\nspeed = 1000\n")}};
    EXPECT_THAT(tessit({"info"}, settings).output, AllOf(HasSubstr("BIRCH_M3"), HasSubstr("1000 kHz")));
    settings["TESSIT_PROBE"] = "600000011";
    EXPECT_THAT(tessit({"info"}, settings).output, AllOf(HasSubstr("BIRCH_M1"), HasSubstr("1000 kHz")));
    EXPECT_THAT(tessit({"info", "--speed", "2000", "--probe", "12"}, settings).output,
                AllOf(HasSubstr("BIRCH_M3"), Not(HasSubstr("BIRCH_M1")), HasSubstr("2000 kHz")));
}

TEST_F(ProbesTest, ABadSettingIsRefusedWithItsOrigin)
{
    const std::pair<const char*, const char*> cases[] = {
        {"sped = 1000\n", ":1: there is no setting 'sped'"},
        {"sim = true\n", "'sim'"}, // neither the simulation nor a confirmation comes from a file
        {"yes = true\n", "'yes'"},
        {"\nverbose = []\n", ":2: the list of verbose is empty"},
        {"speed =\n", ":1: "},
        {"speed = 7\n", ":1: speed: "},
        {"verbose = 3\n", ":1: verbose: "},
        {"probe = [1, 1.5]\n", ":1: probe "},
        {"[list]\n", ":1: list is neither"},
    };
    for (const auto& [text, reason] : cases) {
        const Outcome outcome = tessit({"list", "--config", file("config.toml", text)});
        EXPECT_THAT(outcome, FailsWith(2, "config.toml")) << text;
        EXPECT_THAT(outcome.errors, HasSubstr(reason));
    }
    EXPECT_THAT(tessit({"list", "--config", path("none.toml")}), FailsWith(2, "none.toml"));
    EXPECT_THAT(tessit({"list"}, {{"TESSIT_SPEED", "7"}}), FailsWith(2, "TESSIT_SPEED"));
}

TEST_F(ProbesTest, ARelativeFolderOfTheUserIsNone)
{
    std::filesystem::create_directories(path(".config/tessit"));
    file(".config/tessit/config.toml", "sped = 1000\n");
    EXPECT_THAT(tessit({"list"}, {{"XDG_CONFIG_HOME", ""}, {"HOME", path("")}}), Exits(2));
    const std::string relative = std::filesystem::relative(path(""));
    EXPECT_THAT(tessit({"list"}, {{"XDG_CONFIG_HOME", ""}, {"HOME", relative}}), Exits(0));
    // Nor is the built-in bench's state kept there.
    const Environment no_folder{
        {"JLINKARM_SIM_BENCH", ""}, {"JLINKARM_SIM_STATE", ""}, {"XDG_STATE_HOME", ""}, {"HOME", relative}};
    EXPECT_THAT(tessit({"sim", "power-cycle", "--all"}, no_folder), Exits(1));
    EXPECT_FALSE(std::filesystem::exists(path(".local")));
}

TEST_F(ProbesTest, WhatCannotBeUnderstoodIsRefusedInWordsOfTheCommand)
{
    const std::pair<Arguments, const char*> cases[] = {
        {{}, "a command is missing"},
        {{"bogus"}, "there is no command `tessit bogus`"},
        {{"-p", "x1", "list"}, "'x1' is not a serial number"},
        {{"--all-probes", "halt"}, "one probe at a time"},
        {{"--all-probes", "--probe", "12", "info"}, "do not go together"},
        {{"list", "--jlink", "x"}, "do not go together"},
        {{"--flash-size", "zz", "list"}, "'zz'"},
        {{"list", "--bogus"}, "there is no option '--bogus'"},
        {{"list", "--speed"}, "--speed needs a value"},
        {{"list", "--speed", "124"}, "--speed"},
        {{"list", "--speed", "1000", "--speed", "1000"}, "given 2 times"},
        {{"list", "--json=1"}, "--json takes no value"},
        {{"read", "x"}, "'x'"},
        {{"write", "0x20000000"}, "needs either values or --file"},
        {{"program"}, "needs FILES"},
        {{"reg", "r99"}, "there is no register 'r99'"},
        {{"step", "0"}, "not a number from 1"},
        {{"reset", "--kind", "soft"}, "One of: system, debug, pin."},
        {{"ram", "on", "off"}, "'off' is one word too many for `tessit ram on`"},
        {{"ap"}, "Commands are: read, write."},
        {{"ap", "read", "1", "0x2"}, "not a multiple of 4"},
        {{"sim", "shw"}, "there is no command `tessit sim shw`"},
        {{"sim"}, "show, init, factory-reset, power-cycle"},
    };
    for (const auto& [words, reason] : cases) {
        const Outcome outcome = tessit(join({"--json"}, words));
        EXPECT_THAT(outcome, FailsWith(2, reason));
        EXPECT_EQ(nlohmann::json::parse(outcome.output)["error"]["code"], 2);
    }
    const std::string help = tessit({"program", "--help"}).output + tessit({"step", "--help"}).output;
    EXPECT_THAT(help, AllOf(HasSubstr("--no-verify "), Not(HasSubstr("{")), Not(HasSubstr("UINT"))));
    EXPECT_THAT(tessit({"--version"}).output, HasSubstr("tessit "));
}

TEST_F(ProbesTest, ATextThatIsNotUtf8IsReplacedInJson)
{
    EXPECT_EQ(tessit_json({"read", "0+4", "--probe", "12", "-o", path("a\xFF.bin")})["output"], path("a\uFFFD.bin"));
}

TEST_F(ProbesTest, TheNarrationGoesToStandardErrorAndTheLog)
{
    const Outcome outcome = tessit({"-v", "--log", path("log.txt"), "--probe", "12", "read", "0+4"});
    EXPECT_THAT(outcome.errors, ContainsRegex("\n[0-9:.]+ 600000012 Birch_connect_to_emu_with_snr\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("Birch_")));
    EXPECT_THAT(content("log.txt"),
                AllOf(HasSubstr("Connected to BIRCH_M1_VA.\n"), HasSubstr("Device version is BIRCH_M3_VA_REV1.\n")));
    // What the J-Link library said when it connected is no reason of a later failure.
    EXPECT_THAT(tessit({"read", "0+4", "--probe", "12"}, {{"JLINKARM_SIM_FAULTS", "JLINKARM_ReadMem#1=-1"}}),
                FailsWith(1, "ReadMem returned error -1\n"));
}

} // namespace
} // namespace tessit::cli
