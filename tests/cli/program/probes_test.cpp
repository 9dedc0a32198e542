// Which probe, which J-Link library, which settings.
#include "tests/cli/program/bench_fixture.h"

#include <filesystem>

namespace tessit::cli {
namespace {

using testing::AllOf;
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

TEST_F(ProbesTest, ListShowsTheSerialNumbers)
{
    EXPECT_EQ(tessit({"list"}).output, "600000011\n600000012\n700000011\n");
    EXPECT_EQ(tessit_json({"list"})["probes"], nlohmann::json({600000011, 600000012, 700000011}));
}

TEST_F(ProbesTest, AnAmbiguousChoiceListsTheProbes)
{
    EXPECT_THAT(tessit({"info"}), FailsWith(3, "600000011, 600000012, 700000011"));
    EXPECT_THAT(tessit({"--probe", "11", "info"}), FailsWith(3, "600000011, 700000011"));
    EXPECT_THAT(tessit({"--probe", "99", "info"}), FailsWith(3, "99"));
    EXPECT_THAT(tessit({"--probe", "x1", "info"}), FailsWith(2, "x1"));
    EXPECT_THAT(tessit({"--all-probes", "halt"}), FailsWith(2, "one probe at a time"));
    EXPECT_THAT(tessit({"--all-probes", "--probe", "12", "info"}), FailsWith(2, "do not go together"));
}

TEST_F(ProbesTest, AUniqueEndingIsEnoughBeforeAndAfterTheVerb)
{
    EXPECT_THAT(tessit({"--probe", "12", "info"}).output, HasSubstr("BIRCH_M3_VA_REV1"));
    EXPECT_THAT(tessit({"info", "--probe", "600000011"}).output, HasSubstr("BIRCH_M1_VA_REV2"));
}

TEST_F(ProbesTest, NoProbeAndNoSupplyHaveTheirOwnExitCodes)
{
    EXPECT_THAT(tessit({"--probe", "70000011", "info"}), Exits(3));
    EXPECT_THAT(tessit({"--probe", "700000011", "erase", "--all"}), FailsWith(4, "1.5 V"));
    set_bench("");
    EXPECT_THAT(tessit({"info"}), FailsWith(3, "no probe is attached"));
    EXPECT_THAT(tessit({"list"}), Exits(3));
    set_bench("[[probe]]\nserial = 1\n");
    EXPECT_THAT(tessit({"info"}), Exits(4));
}

TEST_F(ProbesTest, SeveralProbesAreServedOneAfterTheOther)
{
    const std::string firmware = file("app.hex", ":0400100001020304E2\n:00000001FF\n");
    EXPECT_THAT(tessit({"--probe", "11", "--probe", "12", "program", firmware}), Exits(3)); // 11 is ambiguous
    EXPECT_THAT(tessit({"--probe", "600000011", "--probe", "12", "program", firmware}), Exits(0));
    EXPECT_THAT(tessit({"--probe", "600000011", "erase", "--all"}), Exits(0));
    const Outcome all = tessit({"--all-probes", "verify", firmware});
    EXPECT_THAT(all, FailsWith(7, "1.5 V"));
    EXPECT_THAT(all.output, AllOf(HasSubstr("600000012  done"), HasSubstr("700000011  failed (exit code 4)")));
    const auto json = nlohmann::json::parse(tessit({"--all-probes", "--json", "verify", firmware}).output);
    EXPECT_EQ(json["probes"][0]["error"]["code"], 6);
    EXPECT_EQ(json["probes"][1]["equal"], true);
    EXPECT_EQ(json["probes"][2]["error"]["code"], 4); // its own reason, not that of the board before it
    set_bench("[[probe]]\nserial = 1\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n");
    EXPECT_EQ(tessit_json({"--all-probes", "info"})["probes"][0]["probe"], 1);
}

TEST_F(ProbesTest, TheJLinkLibraryIsTheOneThatIsNamedAndNeverTheSimulationByItself)
{
    const std::string missing = path("libjlinkarm.so");
    EXPECT_THAT(run_command({"--jlink", missing, "list"}, environment()), FailsWith(1, missing));
    EXPECT_THAT(run_command({"list"}, environment({{"TESSIT_JLINK", missing}})), FailsWith(1, missing));
    EXPECT_THAT(run_command({"--jlink", file("text.so", "no library"), "list"}, environment()),
                FailsWith(1, "cannot be loaded"));
    EXPECT_THAT(tessit({"list", "--jlink", missing}), FailsWith(2, "do not go together"));
    EXPECT_THAT(tessit({"list"}, {{"TESSIT_JLINK", missing}}), Exits(0)); // the flag goes before the environment
}

TEST_F(ProbesTest, FlagsGoBeforeTheEnvironmentAndThatBeforeTheConfigFile)
{
    const std::string config = file("config.toml", "probe = \"600000012\"\nspeed = 1000\n");
    const Environment with_config{{"TESSIT_CONFIG", config}};
    EXPECT_THAT(tessit({"info"}, with_config).output, AllOf(HasSubstr("BIRCH_M3"), HasSubstr("1000 kHz")));
    Environment with_both = with_config;
    with_both["TESSIT_PROBE"] = "600000011";
    EXPECT_THAT(tessit({"info"}, with_both).output, AllOf(HasSubstr("BIRCH_M1"), HasSubstr("1000 kHz")));
    EXPECT_THAT(tessit({"info", "--speed", "2000", "--probe", "12"}, with_both).output,
                AllOf(HasSubstr("BIRCH_M3"), HasSubstr("2000 kHz")));
}

TEST_F(ProbesTest, ABadSettingIsRefusedWithItsOrigin)
{
    const std::string config = file("config.toml", "sped = 1000\n");
    EXPECT_THAT(tessit({"list", "--config", config}), FailsWith(2, "config.toml:1: there is no setting 'sped'"));
    const std::pair<const char*, const char*> cases[] = {
        {"\nverbose = []\n", ":2: the list of verbose is empty"},
        {"speed =\n", ":1: "},
        {"speed = 7\n", ":1: speed: "},
        {"verbose = 3\n", ":1: verbose: "},
        {"probe = [1, 1.5]\n", ":1: probe "},
        {"[list]\n", ":1: list is neither"},
    };
    for (const auto& [text, reason] : cases) {
        EXPECT_THAT(tessit({"list", "--config", file("config.toml", text)}),
                    FailsWith(2, "config.toml" + std::string{reason}));
    }
    EXPECT_THAT(tessit({"list", "--config", path("none.toml")}), FailsWith(2, "none.toml"));
    EXPECT_THAT(tessit({"list"}, {{"TESSIT_SPEED", "7"}}), FailsWith(2, "TESSIT_SPEED"));
    EXPECT_THAT(tessit({"list", "--speed", "124"}), FailsWith(2, "--speed"));
    // A relative folder is none.
    std::filesystem::create_directories(path(".config/tessit"));
    file(".config/tessit/config.toml", "sped = 1000\n");
    EXPECT_THAT(tessit({"list"}, {{"XDG_CONFIG_HOME", ""}, {"HOME", path("")}}), Exits(2));
    EXPECT_THAT(tessit({"list"}, {{"XDG_CONFIG_HOME", ""}, {"HOME", std::filesystem::relative(path(""))}}), Exits(0));
    // Neither the simulation nor a confirmation comes from a file.
    EXPECT_THAT(tessit({"list", "--config", file("sim.toml", "sim = true\n")}), FailsWith(2, "'sim'"));
    EXPECT_THAT(tessit({"list", "--config", file("yes.toml", "yes = true\n")}), FailsWith(2, "'yes'"));
}

TEST_F(ProbesTest, WhatCannotBeUnderstoodIsAUsageError)
{
    for (const Arguments& arguments :
         {Arguments{}, Arguments{"bogus"}, Arguments{"read"}, Arguments{"read", "x"}, Arguments{"list", "--bogus"},
          Arguments{"ap"}, Arguments{"ap", "read", "1", "0x2"}, Arguments{"write", "0x20000000"},
          Arguments{"reg", "r99"}, Arguments{"step", "0"}}) {
        EXPECT_THAT(tessit(arguments), FailsWith(2, "Error: ")) << testing::PrintToString(arguments);
    }
    for (const Arguments& arguments :
         {Arguments{"-p", "x", "list"}, Arguments{"--speed", "0", "list"}, Arguments{"--flash-size", "zz", "list"},
          Arguments{"list", "--bogus"}, Arguments{"list", "--speed"}, Arguments{}}) {
        Arguments with_json = arguments;
        with_json.insert(with_json.begin(), "--json");
        const std::string output = tessit(with_json).output;
        EXPECT_EQ(nlohmann::json::parse(output)["error"]["code"], 2) << testing::PrintToString(arguments);
    }
    EXPECT_THAT(tessit({"--help"}), Exits(0));
    EXPECT_THAT(tessit({"--version"}).output, HasSubstr("tessit "));
}

TEST_F(ProbesTest, RefusalsAndHelpAreInWordsOfTheCommand)
{
    const std::pair<Arguments, const char*> cases[] = {
        {{"reset", "--kind", "soft"}, "One of: system, debug, pin."},
        {{"list", "--speed", "1000", "--speed", "1000"}, "given 2 times"},
        {{"list", "--json=1"}, "--json takes no value"},
        {{"ram", "on", "off"}, "'off' is one word too many for `tessit ram on`"},
        {{"sim", "shw"}, "there is no command `tessit sim shw`"},
        {{"sim"}, "show, init, factory-reset, power-cycle"},
        {{"program"}, "needs FILES"},
    };
    for (const auto& [arguments, text] : cases) {
        EXPECT_THAT(tessit(arguments), FailsWith(2, text));
    }
    const std::string help = tessit({"program", "--help"}).output + tessit({"step", "--help"}).output;
    EXPECT_THAT(help, AllOf(HasSubstr("--no-verify "), Not(HasSubstr("{")), Not(HasSubstr("UINT"))));
}

TEST_F(ProbesTest, ATextThatIsNotUtf8IsReplacedInJson)
{
    EXPECT_EQ(tessit_json({"read", "0+4", "--probe", "12", "-o", path("a\xFF.bin")})["output"], path("a\uFFFD.bin"));
}

TEST_F(ProbesTest, ALostOutputIsNotSuccess)
{
    const std::string command = std::string{TESSIT_COMMAND} + " --sim list > /dev/full";
    EXPECT_NE(std::system(("JLINKARM_SIM_BENCH=" + path("bench.toml") + " " + command + " 2>/dev/null").c_str()), 0);
}

TEST_F(ProbesTest, TheNarrationGoesToStandardErrorAndTheLog)
{
    const Outcome outcome = tessit({"-v", "--log", path("log.txt"), "--probe", "12", "read", "0+4"});
    EXPECT_THAT(outcome.errors, HasSubstr("Birch_open_dll"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("Birch_")));
    EXPECT_THAT(content("log.txt"),
                AllOf(HasSubstr("Birch_open_dll\n"), HasSubstr("Device version is BIRCH_M3_VA_REV1.\n")));
}

} // namespace
} // namespace tessit::cli
