// Commands that look at the chip and change it: memory, erases, CPU, RAM power, protection, the bench itself.
#include "tests/cli/program/bench_fixture.h"

#include <filesystem>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using TargetTest = BenchTest;

TEST_F(TargetTest, WordsAreWrittenAndShownOrRefusedWithTheRightWay)
{
    EXPECT_THAT(tessit({"write", "0x20000010", "0x12345678", "1"}), Exits(0));
    EXPECT_EQ(tessit({"read", "0x20000010+8", "--words"}).output, "20000010  12345678 00000001\n");
    EXPECT_EQ(memory("0x20000010"), "78563412"); // an address stands for its word
    EXPECT_THAT(tessit({"write", "0x20000020", "--file", file("a.bin", "a \x1F~\x7Fz")}), Exits(0));
    EXPECT_EQ(tessit({"read", "0x20000020+6"}).output,
              "20000020  61 20 1f 7e 7f 7a                                |a .~.z|\n");

    EXPECT_THAT(tessit({"write", "0x1000", "1"}), FailsWith(2, "--flash"));
    EXPECT_THAT(tessit({"write", "0x10001080", "1"}), FailsWith(2, "--flash"));
    EXPECT_THAT(tessit({"write", "0x20000000", "1", "--flash"}), FailsWith(2, "Leave --flash away"));
    EXPECT_THAT(tessit({"write", "0x10000100", "1"}), FailsWith(2, "--ficr"));
    EXPECT_THAT(tessit({"write", "0x10000100", "1", "--ficr"}), FailsWith(2, "--yes"));
    EXPECT_THAT(tessit({"write", "0x10001208", "0", "--flash"}), FailsWith(2, "protect"));
    EXPECT_THAT(tessit({"write", "0x20000002", "1"}), FailsWith(2, "0x20000000"));
    EXPECT_THAT(tessit({"write", "0x1000", "0x12345678", "--flash"}), Exits(0));
    EXPECT_EQ(memory("0x1000+4"), "78563412");
    EXPECT_THAT(tessit({"write", "0x1000", "0xFFFFFFFF", "--flash"}),
                FailsWith(1, "cannot become 0xff without an erase"));
    ASSERT_THAT(tessit({"write", "0x10000100", "1", "--ficr", "--yes"}), Exits(0));
    EXPECT_THAT(tessit({"write", "0x10000100", "2", "--ficr", "--yes"}), FailsWith(1, "nothing erases it"));
}

TEST_F(TargetTest, WhatReachesBeyondAMemoryIsRefusedBeforeAnythingIsDone)
{
    const std::string before = memory("0x2000F000");
    EXPECT_THAT(tessit({"write", "0x2000F000", "--file", binary("a.bin", 0x2000)}), FailsWith(2, "which has 64 KiB"));
    EXPECT_EQ(memory("0x2000F000"), before);
    EXPECT_THAT(tessit({"read", "0x7FFF0+32"}), FailsWith(2, "which has 512 KiB"));
    EXPECT_THAT(tessit({"read", "0+4096M"}), FailsWith(2, "the flash area"));
    const Outcome nowhere = tessit({"read", "flash", "--output", path("none/out.bin")});
    EXPECT_THAT(nowhere, FailsWith(1, "there is no folder"));
    EXPECT_THAT(nowhere.errors, Not(HasSubstr("524288"))) << "it has been read already";
}

TEST_F(TargetTest, EraseDoesWhatItIsToldAndNothingElse)
{
    ASSERT_THAT(tessit({"program", binary("app.bin", 0x5000) + "@0"}), Exits(0));
    std::string expected = memory("0+0x5000");
    const std::pair<Arguments, const char*> refused[] = {
        {{"erase"}, "--all"},
        {{"erase", "--all", "--uicr"}, "one thing to erase at a time"},
        {{"erase", "--range", "0x1000+4k", "--page", "0x3004"}, ""},
        {{"erase", "--range", "0x800-0x1800"}, "--range 0x00000000-0x00002000"},
        {{"erase", "--range", "0x7F000-0x81000"}, "0x00080000"},
        {{"erase", "--page", "0x10001000"}, "--uicr"},
    };
    for (const auto& [arguments, reason] : refused) {
        EXPECT_THAT(tessit(arguments), FailsWith(2, reason));
    }
    EXPECT_EQ(tessit_json({"erase", "--page", "0x10001", "--page", "0x10fff"})["erased"].size(), 1U);
    EXPECT_EQ(memory("0+0x5000"), expected);

    EXPECT_THAT(tessit({"erase", "--range", "0x1000+4k"}), Exits(0));
    EXPECT_THAT(tessit({"erase", "--page", "0x3004"}), Exits(0));
    ASSERT_THAT(tessit({"write", "0x10001080", "0", "--flash"}), Exits(0));
    EXPECT_THAT(tessit({"erase", "--uicr"}), Exits(0));
    constexpr std::size_t page_digits = 2 * std::size_t{0x1000};
    expected.replace(page_digits, page_digits, page_digits, 'f');
    expected.replace(3 * page_digits, page_digits, page_digits, 'f');
    EXPECT_EQ(memory("0x10001080+4"), "ffffffff");
    EXPECT_EQ(memory("0+0x5000"), expected);
    EXPECT_THAT(tessit({"erase", "--mass"}), Exits(0));
    EXPECT_EQ(memory("0+0x5000"), std::string(std::size_t{2} * 0x5000, 'f'));
}

TEST_F(TargetTest, RegistersAreShownAndSetByNameAndStepsShowWhatChanged)
{
    program_endless_loop();
    ASSERT_THAT(tessit({"reset", "--halt"}), Exits(0));
    EXPECT_THAT(tessit({"reg", "R3=0x1234", "sp=0x20000800"}), Exits(0));
    const auto all = tessit_json({"reg"})["registers"];
    EXPECT_EQ(all.size(), 19);
    EXPECT_EQ(all["r3"], 0x1234);
    EXPECT_EQ(all["sp"], 0x20000800);
    EXPECT_EQ(tessit_json({"reg", "r15"})["registers"], nlohmann::json({{"pc", 0x200}}));
    EXPECT_THAT(tessit({"reg", "pc=0x201", "r0=9"}).errors,
                "pc holds 0x00000200, not the 0x00000201 that was given.\n");
    EXPECT_THAT(tessit({"halt"}).output, AllOf(HasSubstr("PC 0x00000200  2001"), HasSubstr("SP 0x20000800")));
#if defined(TESSIT_SIM_CPU_UNICORN) // the register-file CPU executes nothing
    const auto steps = tessit_json({"step", "3"})["steps"];
    EXPECT_EQ(steps[0]["pc"], 0x202);
    EXPECT_EQ(steps[1]["changes"][0], nlohmann::json({{"register", "r0"}, {"before", 1}, {"after", 3}}));
    EXPECT_EQ(steps[2]["instruction"], "e7fe");
#endif
}

TEST_F(TargetTest, GoAndHaltMoveTheCpu)
{
    program_endless_loop();
    ASSERT_THAT(tessit({"go", "--pc", "0x200", "--sp", "0x20000ff0"}), Exits(0));
    EXPECT_EQ(cpu(), "running");
    EXPECT_EQ(tessit_json({"halt"})["sp"], 0x20000FF0);
    EXPECT_EQ(cpu(), "halted"); // looking does not set it running
    ASSERT_THAT(tessit({"go"}), Exits(0));
    EXPECT_EQ(memory("0x200+2"), "0120");
    EXPECT_EQ(cpu(), "running"); // reading put it back
    for (const char* kind : {"system", "debug", "pin"}) {
        EXPECT_THAT(tessit({"reset", "--kind", kind, "--halt"}), Exits(0)) << kind;
        EXPECT_EQ(cpu(), "halted") << kind;
        EXPECT_EQ(tessit_json({"reset", "--kind", kind})["cpu"], "running") << kind;
    }
}

TEST_F(TargetTest, ACpuThatStandsStillIsNotSaidToRun)
{
    EXPECT_EQ(cpu(), "locked up"); // a chip without firmware; to look at it changes nothing
    EXPECT_THAT(tessit({"info"}).output,
                HasSubstr("locked up at 0xfffffffe: the flash holds no firmware at address 0"));
    EXPECT_THAT(tessit({"go"}),
                FailsWith(1, "the CPU is locked up at 0xfffffffe: the flash holds no firmware at address 0"));
    for (const char* kind : {"system", "debug", "pin"}) {
        EXPECT_THAT(tessit({"reset", "--kind", kind}).output, HasSubstr("the CPU is locked up")) << kind;
    }
    const auto info = tessit_json({"info"});
    EXPECT_EQ(info["cpu"], "locked up");
    EXPECT_EQ(info["reset_reasons"], nlohmann::json({"reset pin", "system reset request", "control access port"}));
    EXPECT_EQ(info["chip"], "BIRCH_M1_VA_REV2");
    EXPECT_EQ(info["flash_bytes"], 512 * 1024);
    EXPECT_EQ(info["ram_bytes"], 64 * 1024);
    EXPECT_EQ(info["is_protected"], false);
    EXPECT_THAT(tessit({"step"}), FailsWith(1, "there is nothing to execute: the CPU is halted at 0xfffffffe"));
#if defined(TESSIT_SIM_CPU_UNICORN)
    // Nor are there handlers for the fault that it meets.
    EXPECT_THAT(tessit({"go", "--pc", "0x100", "--sp", "0x20001000"}),
                FailsWith(1, "locked up at 0xfffffffe: the flash holds no firmware at address 0"));
    EXPECT_THAT(take_records(), AllOf(HasSubstr("cpu-fault: undefined instruction"), HasSubstr("the CPU locks up")));
#endif
    // A chip that takes no connection is reset all the same.
    set_chip("BIRCH_M1_VA_REV2", "faults = [\"connect_fails\"]");
    EXPECT_THAT(tessit({"reset", "--kind", "pin"}).output, HasSubstr("The chip was reset; the CPU is locked up, and"));
    EXPECT_THAT(tessit({"reset", "--kind", "pin", "--halt"}), FailsWith(4, "cannot halt the CPU after the reset"));
#if defined(TESSIT_SIM_CPU_UNICORN)
    set_chip("BIRCH_M1_VA_REV2");
    // In the handler of a fault it runs. One has nothing on its stack but the frame, the other one LR and more.
    ASSERT_THAT(tessit({"program", FIRMWARE_FOLDER "/fault_void.hex", "--reset"}), Exits(0));
    EXPECT_THAT(tessit({"halt"}).output, HasSubstr("in the HardFault handler: it went to an address without memory "
                                                   "(IBUSERR); the program counter was 0x30000000, LR 0x000000a9"));
    ASSERT_THAT(tessit({"program", FIRMWARE_FOLDER "/fault_handler.hex"}), Exits(0));
    ASSERT_THAT(tessit({"rtt", "--reset", "--until", "HardFault"}), Exits(0));
    EXPECT_THAT(tessit({"info"}).output, HasSubstr("handler: no cause is noted; the program counter was 0x000001a8"));
    take_records();
#endif
}

TEST_F(TargetTest, RamSectionsAndDebugRegistersAreReached)
{
    EXPECT_THAT(tessit({"ram", "off", "5"}).output, HasSubstr("15 of 16 sections on, 60 KiB of 64 KiB"));
    const auto sections = tessit_json({"ram"})["sections"];
    EXPECT_EQ(sections.size(), 16);
    EXPECT_EQ(sections[5]["on"], false);
    EXPECT_EQ(sections[5]["address"], 0x20005000);
    EXPECT_THAT(tessit({"ram", "off", "16"}), FailsWith(2, "0 to 15"));
    EXPECT_THAT(tessit({"ram", "on"}).output, HasSubstr("16 of 16 sections on"));

    EXPECT_EQ(tessit_json({"ap", "read", "1", "0xFC"})["value"], 0x02880000);
    EXPECT_EQ(tessit({"ap", "write", "1", "0", "0"}).output, "AP 1 register 0x00  0x00000000 written, not read back\n");
    EXPECT_NE(tessit_json({"dp", "read", "0"})["value"], 0);
    EXPECT_THAT(tessit({"dp", "write", "4", "0x50000000"}), Exits(0));
    EXPECT_EQ(take_records(), "debug-power-left: CTRL/STAT requests power at JLINKARM_Close\n") << "as it was told";
    const Outcome select = tessit({"dp", "read", "8"}); // cannot be read
    EXPECT_THAT(select, FailsWith(2, "--help"));
    EXPECT_THAT(select.errors, Not(HasSubstr("-v")));
    EXPECT_THAT(tessit({"ap", "read", "256", "0"}), FailsWith(2, "256"));
}

TEST_F(TargetTest, TheBenchIsShownAndBroughtBack)
{
    EXPECT_THAT(tessit({"sim", "init", path("new.toml")}), Exits(0));
    EXPECT_THAT(tessit({"sim", "init", path("new.toml")}), FailsWith(1, "new.toml"));
    EXPECT_THAT(tessit({"sim", "show"}, {{"JLINKARM_SIM_BENCH", path("new.toml")}}).output, HasSubstr("600000003"));
    EXPECT_THAT(tessit({"list"}, {{"JLINKARM_SIM_BENCH", path("none.toml")}}), FailsWith(1, "none.toml"));

    const auto used_bytes = [this] { return tessit_json({"sim", "show"})["probes"].back()["flash_used_bytes"]; };
    ASSERT_THAT(tessit({"program", binary("app.bin", 256) + "@0"}), Exits(0));
    // A probe without a chip is passed over.
    set_bench("[[probe]]\nserial = 1\n" + content("bench.toml"));
    EXPECT_EQ(tessit({"sim", "power-cycle", "--all"}).output, "The chip on probe 600000011 was switched off and on.\n");
    EXPECT_EQ(used_bytes(), 256);
    EXPECT_THAT(tessit({"sim", "factory-reset", "--probe", "11", "--all"}), FailsWith(2, "do not go together"));
    EXPECT_THAT(tessit({"sim", "factory-reset", "--probe", "1"}), FailsWith(4, "there is no chip on probe 1"));
    EXPECT_EQ(used_bytes(), 256);
    ASSERT_THAT(tessit({"sim", "factory-reset", "--all"}), Exits(0));
    EXPECT_EQ(used_bytes(), 0);
    set_bench("");
    EXPECT_THAT(tessit({"sim", "factory-reset", "--all"}), FailsWith(4, "there is no chip on the bench"));
}

TEST_F(TargetTest, AStateThatCannotBeUsedIsNamedUntilTheFactoryReset)
{
    ASSERT_THAT(tessit({"info"}), Exits(0));
    set_chip("BIRCH_M2_VA_REV1");
    EXPECT_THAT(tessit({"info"}), FailsWith(1, "of another chip (BIRCH_M1_VA_REV2"));
    const Outcome shown = tessit({"sim", "show"});
    EXPECT_THAT(shown.output, AllOf(HasSubstr("BIRCH_M2_VA_REV1"), HasSubstr("unusable")));
    EXPECT_THAT(shown.errors, AllOf(HasSubstr("of another chip"), HasSubstr("sim factory-reset --probe 600000011")));
    EXPECT_TRUE(tessit_json({"sim", "show"})["probes"][0].contains("problem"));
    EXPECT_THAT(tessit({"sim", "factory-reset"}), Exits(0));
    EXPECT_THAT(tessit({"info"}), Exits(0));

    const std::string lock = path("bench.toml.state/600000011/lock");
    std::filesystem::remove(lock);
    std::filesystem::create_directory(lock);
    const Outcome refused = tessit({"info"});
    EXPECT_THAT(refused, FailsWith(1, "state folder"));
    EXPECT_THAT(refused.errors, AllOf(HasSubstr(lock), HasSubstr("factory-reset"), Not(HasSubstr("cable"))));
}

TEST_F(TargetTest, ProtectLocksRecoverUnlocksAndProgramWorksAgain)
{
    const std::string firmware = file("app.hex", ":0400100001020304E2\n:00000001FF\n");
    ASSERT_THAT(tessit({"program", firmware}), Exits(0));
    EXPECT_THAT(tessit({"protect"}), FailsWith(2, "--yes")); // no terminal to ask
    EXPECT_EQ(tessit_json({"protect", "--yes"})["was_protected"], false);

    const Arguments needing_the_target[] = {
        {"program", firmware},
        {"verify", firmware},
        {"read", "0+4"},
        {"write", "0x20000000", "1"},
        {"erase", "--all"},
        {"reset"},
        {"halt"},
        {"go"},
        {"step"},
        {"go", "--pc", "0", "--sp", "0"},
        {"reg"},
        {"ram", "on"},
    };
    for (const Arguments& arguments : needing_the_target) {
        EXPECT_THAT(tessit(arguments), FailsWith(5, "tessit --sim --probe 600000011 recover --yes")) << arguments[0];
    }
    EXPECT_EQ(tessit_json({"info"})["is_protected"], true);
    EXPECT_THAT(tessit({"protect", "--yes"}).output, HasSubstr("already"));
    EXPECT_THAT(tessit({"reset", "--kind", "debug"}), Exits(0));

    EXPECT_THAT(tessit({"recover"}), FailsWith(2, "--yes"));
    const Outcome recovered = tessit({"recover", "--yes"});
    EXPECT_THAT(recovered, Exits(0));
    EXPECT_THAT(recovered.errors, HasSubstr("control access port"));
    EXPECT_EQ(memory("0x10+4"), "ffffffff");
    EXPECT_THAT(tessit({"program", firmware}), Exits(0));

    set_bench("[[probe]]\nserial = 1\n[probe.chip]\nversion = \"BIRCH_M1_VA_ENGA\"\n");
    EXPECT_THAT(tessit({"protect", "--yes"}), FailsWith(2, "does not support it\nHint: `tessit --sim info` shows"));
}

TEST_F(TargetTest, ARecoveryThatFailsIsReportedAndTheNextOneCompletes)
{
    const auto set_protected = [this](const std::string& faults) {
        set_chip("BIRCH_M1_VA_REV2", "protected = true\nfaults = [" + faults + "]");
    };
    set_protected("\"ctrl_ap_fails\"");
    EXPECT_THAT(tessit({"recover", "--yes"}), FailsWith(1, "CORESIGHT_ReadAPDPReg returned error"));
    set_protected("");
    const Outcome outcome = tessit({"recover", "--yes"}, {{"JLINKARM_SIM_FAULTS", "JLINKARM_Connect#1=-1+0"}});
    EXPECT_THAT(outcome, FailsWith(1, "cannot recover the chip"));
    EXPECT_THAT(outcome.errors, HasSubstr("Power the board off and on, then run `tessit --sim recover` again"));
    for (const char* fault :
         {"JLINKARM_CORESIGHT_ReadAPDPReg#15@unplug", "JLINKARM_Connect#1@unplug", "JLINKARM_WriteU32#5@unplug"}) {
        SCOPED_TRACE(fault);
        EXPECT_THAT(tessit({"recover", "--yes"}, {{"JLINKARM_SIM_FAULTS", fault}}),
                    FailsWith(3, "the connection to probe 600000011 was lost"));
        EXPECT_THAT(tessit({"recover", "--yes"}), Exits(0));
        EXPECT_THAT(tessit({"protect", "--yes"}), Exits(0));
    }
}

} // namespace
} // namespace tessit::cli
