// Several boards at the same time: what they hold afterwards, what is said of them, and what one does to the others.
#include "tests/cli/program/bench_fixture.h"

#include <csignal>
#include <filesystem>
#include <sstream>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class BoardsTest : public BenchTest
{
protected:
    // Of boards 600000101 on, each with its lines.
    void set_boards(const std::vector<std::string>& of_probe, const std::vector<std::string>& of_chip)
    {
        std::string bench;
        for (std::size_t i = 0; i < of_probe.size(); ++i) {
            bench += "[[probe]]\nserial = " + std::to_string(600000101 + i) + "\n" + of_probe[i] +
                     "\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n" + of_chip[i] + "\n";
        }
        set_bench(bench);
    }
    void set_boards(std::size_t count) { set_boards(std::vector<std::string>(count), std::vector<std::string>(count)); }

    nlohmann::json words_of(int board, const std::string& range) const
    {
        return tessit_json({"--probe", std::to_string(board), "read", range, "--words"})["words"];
    }
    std::string memory_of(int board, const std::string& range) const
    {
        return tessit_json({"--probe", std::to_string(board), "read", range}).value("data", "");
    }
};

TEST_F(BoardsTest, EightBoardsGetTheImageAndEachItsOwnValues)
{
    set_boards(8);
    const std::string firmware = binary("app.bin", 5000) + "@0";
    std::string units = "serial,0x10001084\n";
    for (int board = 600000101; board <= 600000108; ++board) {
        units += std::to_string(board) + "," + std::to_string(board) + "\n";
    }
    const Outcome outcome = tessit({"--all-probes", "--jobs", "3", "--json", "program", firmware, "0x10001080=0x1234",
                                    "--units", file("units.csv", units), "--record", path("record.jsonl")});
    ASSERT_THAT(outcome, Exits(0));
    const auto json = nlohmann::json::parse(outcome.output);
    ASSERT_EQ(json["probes"].size(), 8);
    std::istringstream lines{content("record.jsonl")};
    for (int board = 600000101; board <= 600000108; ++board) {
        const auto& result = json["probes"][static_cast<std::size_t>(board - 600000101)];
        EXPECT_EQ(result["probe"], board);
        EXPECT_EQ(result["verified"], true);
        EXPECT_THAT(tessit({"--probe", std::to_string(board), "verify", firmware}), Exits(0));
        EXPECT_EQ(words_of(board, "0x10001080+8"), nlohmann::json({0x1234, board}));
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        const auto recorded = nlohmann::json::parse(line);
        EXPECT_EQ(recorded["result"], "done");
        EXPECT_EQ(recorded["image_sha256"].get<std::string>().size(), 64);
        EXPECT_EQ(recorded["values"][1]["value"], recorded["probe"]);
    }
    // A unit that is missing keeps all from being begun.
    const Outcome missing =
        tessit({"--all-probes", "program", firmware, "--units", file("units.csv", "serial,0x10001084\n600000101,1\n")});
    EXPECT_THAT(missing, FailsWith(2, "no line for the unit 600000102; nothing was begun"));
    EXPECT_THAT(missing.errors, Not(HasSubstr("600000101  ")));
}

TEST_F(BoardsTest, OneThatFailsDisturbsNoOther)
{
    set_boards({"", "fault_orders = \"JLINKARM_WriteMem#2@unplug\"", "", "supply_mv = 1400", ""},
               {"", "", "protected = true", "", ""});
    const std::string firmware = binary("app.bin", 0x28000) + "@0";
    const Outcome outcome = tessit({"--all-probes", "program", firmware, "--loader", "off"});
    EXPECT_THAT(outcome, FailsWith(7, "600000102  Error: cannot write"));
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("600000101  done: Programmed 160 KiB"), HasSubstr("600000105  verify")));
    EXPECT_THAT(outcome.output,
                AllOf(ContainsRegex("600000102  failed: no probe \\(exit code 3\\), half written .*cable"),
                      ContainsRegex("600000103  failed: protected .*recover --yes"),
                      ContainsRegex("600000104  failed: no target .*supply"), ContainsRegex("600000105  done")));
    EXPECT_THAT(tessit({"--probe", "101", "--probe", "105", "verify", firmware}), Exits(0));
    const auto json = tessit_json({"--all-probes", "verify", firmware, "--loader", "off"}, 7);
    EXPECT_EQ(json["probes"][1]["error"]["code"], 6);
    EXPECT_EQ(json["probes"][2]["error"]["probe"], 600000103);
    EXPECT_EQ(json["probes"][3]["error"]["name"], "no_target"); // its own reason, not that of another board

    EXPECT_THAT(tessit({"--probe", "103", "--probe", "105", "program", firmware, "--recover"}), FailsWith(2, "--yes"));
    const auto recovered = tessit_json({"--probe", "103", "--probe", "105", "program", firmware, "--recover", "--yes"});
    EXPECT_EQ(recovered["probes"][0]["recovered"], true);
    EXPECT_EQ(recovered["probes"][1]["recovered"], false);
    EXPECT_THAT(tessit({"--probe", "103", "verify", firmware}), Exits(0));
    take_records(); // of what the pulled cable left
}

TEST_F(BoardsTest, CtrlCEndsAllAndTellsHowFarEachCame)
{
    set_boards(3);
    const std::string far = binary("far.bin", 4096, 3) + "@0x7F000"; // or everything would be erased at once
    const std::string old_image = binary("old.bin", 0x70000, 1) + "@0";
    const std::string new_image = binary("new.bin", 0x70000, 2) + "@0";
    ASSERT_THAT(tessit({"--all-probes", "program", old_image, far, "--loader", "off"}), Exits(0));
    ASSERT_THAT(tessit({"--probe", "103", "erase", "--all"}), Exits(0));
    // Nobody reads what is told, so that the boards come to a standstill.
    RunningCommand command{
        {"--sim", "-v", "--json", "--all-probes", "--jobs", "2", "program", new_image, "--loader", "off"},
        environment()};
    ASSERT_TRUE(command.wait_for("600000101  Birch_erase_page", 3));
    ASSERT_TRUE(command.wait_for("600000102  Birch_erase_page", 3));
    command.signal(SIGINT);
    const Outcome outcome = command.finish();
    EXPECT_THAT(outcome, Exits(130));
    const auto boards = nlohmann::json::parse(outcome.output)["probes"];
    for (const std::size_t board : {0U, 1U}) {
        EXPECT_EQ(boards[board]["error"]["name"], "interrupted");
        EXPECT_EQ(boards[board]["error"]["half_written"], true);
    }
    EXPECT_EQ(boards[2]["error"]["message"], "interrupted: this probe was not begun");
    EXPECT_EQ(memory_of(600000101, "0+4"), "ffffffff");
    EXPECT_EQ(memory_of(600000103, "0+4"), "ffffffff");
    EXPECT_NE(memory_of(600000102, "0x6f000+4"), "ffffffff") << "it has gone on to the end";
    EXPECT_THAT(tessit({"--all-probes", "program", new_image, "--loader", "off"}), Exits(0));
    EXPECT_THAT(tessit({"--all-probes", "verify", new_image, "--loader", "off"}), Exits(0));
}

TEST_F(BoardsTest, EachGetsTheCommandAsItWasGivenAndFilesOfItsOwn)
{
    set_boards(2);
    const Environment settings{
        {"TESSIT_CONFIG", file("config.toml", "probe = [101, 102]\nverbose = false\nspeed = 1000\n")}};
    const Outcome info = tessit({"info"}, settings);
    EXPECT_THAT(info.output, AllOf(HasSubstr("1000 kHz"), HasSubstr("\n\nProbe             600000102\n")));
    EXPECT_THAT(info.errors, Not(HasSubstr("Birch_")));
    EXPECT_THAT(tessit({"write", "0x20000000", "0x1234"}, settings), Exits(0));
    const std::string output = path("{serial}.bin");
    EXPECT_THAT(tessit({"--log", path("{serial}.log"), "read", "0x20000000+4", "-o", output}, settings), Exits(0));
    EXPECT_EQ(content("600000102.bin"), std::string("\x34\x12\0\0", 4));
    EXPECT_THAT(content("600000101.log"), HasSubstr("Birch_close_dll"));
    EXPECT_THAT(tessit({"read", "0+4", "-o", path("one.bin")}, settings), FailsWith(2, "{serial}"));
    EXPECT_THAT(tessit({"--log", path("one.log"), "info"}, settings), FailsWith(2, "{serial}"));
    EXPECT_THAT(tessit({"read", "0x20000000+4"}, settings).output, HasSubstr("Probe 600000102:\n20000000  34 12"));
    EXPECT_THAT(tessit({"write", "--ficr", "0x10000100", "1"}, settings),
                FailsWith(2, "Probes: 600000101, 600000102."));
    EXPECT_THAT(tessit({"halt"}, settings), FailsWith(2, "one probe at a time"));
    set_boards(1);
    EXPECT_EQ(tessit_json({"--all-probes", "reset"})["probes"][0]["probe"], 600000101);
}

TEST_F(BoardsTest, AProbeIsWaitedForUntilItIsFreeAndHasPower)
{
    set_boards(1);
    RunningCommand holder{{"--sim", "-v", "erase", "--range", "0+0x70000"}, environment()}; // which nobody reads
    ASSERT_TRUE(holder.wait_for("Birch_erase_page", 2));
    EXPECT_THAT(tessit({"info"}), FailsWith(8, "--wait SECONDS"));
    const auto wait = [this] {
        return RunningCommand{{"--sim", "--wait", "1000", "--json", "--probe", "600000101", "info"}, environment()};
    };
    {
        RunningCommand waiter = wait();
        ASSERT_TRUE(waiter.wait_for("in use by another program"));
        holder.signal(SIGINT);
        EXPECT_THAT(holder.finish(), Exits(130));
        EXPECT_THAT(waiter.finish(), Exits(0));
    }
    for (const char* trouble : {"plugged = false", "supply_mv = 0"}) {
        set_boards({trouble}, {""});
        RunningCommand waiter = wait();
        ASSERT_TRUE(waiter.wait_for("Waiting: ")) << trouble;
        set_boards(1);
        EXPECT_THAT(waiter.finish(), Exits(0)) << trouble;
    }
    set_boards({"plugged = false"}, {""});
    RunningCommand waiter = wait();
    ASSERT_TRUE(waiter.wait_for("Waiting: "));
    waiter.signal(SIGINT);
    EXPECT_THAT(waiter.finish(), Exits(130));
}

} // namespace
} // namespace tessit::cli
