// `rtt`: firmware that runs in a simulated chip, and a console on its channels.
#include "tests/cli/program/bench_fixture.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr const char* banner = "rtt_echo is ready\n";

// Tests of minutes run only when they are asked for.
bool is_long_run()
{
    return std::getenv("TESSIT_LONG_TESTS") != nullptr; // NOLINT(concurrency-mt-unsafe): one thread
}

// What the counter channel says: 32-bit words, 0, 1, 2, ...
bool is_counter_stream(std::string_view bytes)
{
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (static_cast<std::uint8_t>(bytes[i]) != static_cast<std::uint8_t>(i / 4 >> 8 * (i % 4))) {
            return false;
        }
    }
    return true;
}

// The counter stream has three equal bytes first in the word that consists of them: an end for --until that no earlier
// part of the stream holds.
std::string three(char byte)
{
    return std::string(3, byte);
}

std::string upper(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return text;
}

class RttTest : public BenchTest
{
protected:
    void SetUp() override { program_example("rtt_echo.bin"); }

    void program(const std::string& path) const { ASSERT_THAT(tessit({"program", path + "@0"}), Exits(0)); }
    void program_example(const std::string& name) const { program(std::string{FIRMWARE_FOLDER "/"} + name); }

    // At the fastest speed that the probe has, so that the tests do not wait for the wire.
    static Arguments rtt(const Arguments& arguments) { return join({"--speed", "50000", "rtt"}, arguments); }
    Outcome talk(const Arguments& arguments, const Environment& extra = {}) const
    {
        return tessit(rtt(arguments), extra);
    }
    Outcome talk_with_input(std::string_view input, const Arguments& arguments) const
    {
        return tessit(rtt(arguments), {}, file("input", input));
    }
    static Environment faults(const std::string& orders) { return {{"JLINKARM_SIM_FAULTS", orders}}; }
};

TEST_F(RttTest, ListsTheChannels)
{
    const Outcome outcome = talk({"--reset", "--list"});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("up         0        log      1024"), HasSubstr("up         1        counter  4096"),
                      HasSubstr("down       0        echo     256")));
    const nlohmann::json channels = tessit_json(rtt({"--list"}))["channels"];
    ASSERT_EQ(channels.size(), 3U);
    EXPECT_EQ(channels[2], nlohmann::json({{"direction", "down"}, {"channel", 0}, {"name", "echo"}, {"size", 256}}));
}

TEST_F(RttTest, ReturnsAPipedFileToTheLastByte)
{
    for (const auto& [firmware, size] : {std::pair{"rtt_echo.bin", 1 << 18}, {"rtt_echo_tiny.bin", 1 << 13}}) {
        program_example(firmware);
        binary("random", static_cast<std::size_t>(is_long_run() ? 1 << 20 : size));
        const std::string sent = content("random") + "THE END";
        const Outcome outcome = talk_with_input(sent, {"--reset", "--raw", "--until", "THE END"});
        EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
        EXPECT_TRUE(outcome.output == banner + upper(sent)) << firmware;
    }
}

TEST_F(RttTest, ATextOrTheTimeEndsIt)
{
    for (const Arguments& end : std::vector<Arguments>{
             {"--reset", "--until", "is ready", "--timeout", "60"},
             {"--reset", "--until", "is ready", "--no-input"},
             {"--reset", "--timeout", "0.02"},
         }) {
        const Outcome outcome = talk(end);
        EXPECT_THAT(outcome, Exits(0)) << testing::PrintToString(end);
        EXPECT_EQ(outcome.output, banner);
    }
    const Outcome late = talk({"--reset", "--until", "never", "--timeout", "0.02"});
    EXPECT_THAT(late, FailsWith(9, "'never' did not come within 0.02 s"));
    EXPECT_EQ(late.output, banner);
    // A text that comes in the answer to the input, and only then.
    EXPECT_THAT(talk_with_input("hello\n", {"--reset", "--until", "HELLO"}), Exits(0));
    // The input has ended, and nothing more comes.
    EXPECT_EQ(talk_with_input("hello\n", {"--reset"}).output, std::string{banner} + "HELLO\n");
}

TEST_F(RttTest, ShowsLinesWithTimeAndChannelAndKeepsThem)
{
    const std::string log = path("session.log");
    const Outcome timed =
        talk_with_input("one\ntwo\n", {"--reset", "--timestamps", "--output", log, "--until", "TWO\n"});
    const std::string time = "\\[[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]\\] ";
    EXPECT_THAT(timed.output, MatchesRegex(time + "rtt_echo is ready\n" + time + "ONE\n" + time + "TWO\n"));
    EXPECT_EQ(content("session.log"), timed.output);
    const Outcome several = talk({"--reset", "-c", "0", "-c", "1", "--until", "ready", "--no-input"});
    EXPECT_THAT(several.output, AllOf(HasSubstr("log: rtt_echo is ready\n"), HasSubstr("counter: ")));
    EXPECT_THAT(talk({"--output", path("no/such/folder")}), FailsWith(1, "cannot write the output"));
}

TEST_F(RttTest, StreamsBytesAsTheFirmwareSentThemAndAfterAResetFromItsBegin)
{
    // 256 KiB, and then as much again, or 8 MiB: up to the word 0x010101, or 0x202020.
    for (const char last : {'\x01', is_long_run() ? '\x20' : '\x01'}) {
        const Outcome stream = talk({"--reset", "--raw", "-c", "1", "--no-input", "--until", three(last)});
        EXPECT_EQ(stream.exit_code, 0) << stream.errors;
        EXPECT_GE(stream.output.size(), std::size_t{1} << 18);
        EXPECT_TRUE(is_counter_stream(stream.output));
    }
    // Without a reset it goes on where it was.
    EXPECT_THAT(talk({"--raw", "-c", "1", "--no-input", "--until", three(1), "--timeout", "0.1"}), Exits(9));
}

TEST_F(RttTest, GoesOnWhenTheFirmwareResetsItself)
{
    program(RTT_TEST_FOLDER "/restart.bin");
    const Outcome outcome = talk_with_input("abcR", {"--reset", "--timeout", "0.1"});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.output, MatchesRegex("start [0-9]\nabcreset\nstart [0-9]\n"));
    EXPECT_NE(outcome.output[6], *(outcome.output.end() - 2)) << "two starts";
}

TEST_F(RttTest, ACrashEndsItWithItsCause)
{
    // The reset that firmware asks for goes to where nothing is: mov r3, #0xE000E000 becomes mov r3, #0x30003000.
    std::ifstream image{RTT_TEST_FOLDER "/restart.bin", std::ios::binary};
    std::string crashing{std::istreambuf_iterator<char>{image}, {}};
    const std::size_t system_control = crashing.find("\x4F\xF0\xE0\x23");
    ASSERT_NE(system_control, std::string::npos);
    crashing[system_control + 2] = '\x30';
    // Its handler of faults goes nowhere, which is looked at when the time is up, and tells no debugger.
    program(file("crashing.bin", crashing));
    const Outcome stuck = talk_with_input("abcR", {"--reset", "--until", "start over", "--timeout", "0.2"});
    EXPECT_THAT(stuck, FailsWith(9, "the firmware has stopped: the CPU is in the HardFault handler: "));
    EXPECT_THAT(stuck.errors, AllOf(HasSubstr("PRECISERR"), HasSubstr("the program counter was 0x0000")));
    EXPECT_THAT(tessit({"info"}).output, HasSubstr("running")) << "as it was";

    // The handler has a breakpoint for the debugger: b . becomes bkpt.
    const std::size_t handler = crashing.find("\xFE\xE7");
    ASSERT_NE(handler, std::string::npos);
    crashing.replace(handler, 2, {'\0', '\xBE'});
    program(file("crashing.bin", crashing));

    const Outcome outcome = talk_with_input("abcR", {"--reset", "--until", "start over"});
    EXPECT_THAT(outcome, FailsWith(9, "the firmware has stopped: the CPU is halted at 0x0000"));
    EXPECT_THAT(outcome.errors, HasSubstr("refused by the bus (PRECISERR), the address was 0x30003d0c"));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("rtt --reset")));
    EXPECT_THAT(outcome.output, MatchesRegex("start [0-9]\nabcreset\n")) << "what it said before";
    // A time that is up is no success, and whoever leaves the CPU halted does not wait for more.
    EXPECT_THAT(talk_with_input("R", {"--reset", "--timeout", "0.09"}), FailsWith(9, "PRECISERR"));
    EXPECT_THAT(talk({"--no-go", "--no-input", "--timeout", "0.2"}), Exits(0));
    EXPECT_THAT(content("records"), HasSubstr("write of 4 bytes at 0x30003D0C"));
    file("records", ""); // the firmware's doing
}

TEST_F(RttTest, ItsTimeIsTheChips)
{
    ASSERT_THAT(talk({"--reset", "--timeout", "0"}), Exits(0));
    const auto trace = [this](const char* name) {
        EXPECT_THAT(talk({"--reset", "--timeout", "0.05"}, {{"JLINKARM_SIM_TRACE", path(name)}}), Exits(0));
        return content(name);
    };
    EXPECT_EQ(trace("first"), trace("second"));
}

TEST_F(RttTest, GoesOnWhenTheConnectionToTheChipComesBack)
{
    const Outcome outcome =
        talk({"--reset", "--raw", "-c", "1", "--no-input", "--until", three(1)}, faults("JLINKARM_IsConnected#30=0+3"));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("connecting again"));
    EXPECT_TRUE(is_counter_stream(outcome.output));
    // One failed transfer is not the end either: nothing was lost with it.
    EXPECT_THAT(talk({"--reset", "--until", "ready", "--no-input"}, faults("JLINK_RTTERMINAL_Read#1=-1")), Exits(0));
}

TEST_F(RttTest, FailuresAreClear)
{
    ASSERT_THAT(tessit({"reset"}), Exits(0));
    const std::tuple<const char*, int, const char*> cases[] = {
        {"JLINK_RTTERMINAL_Read#5@unplug", 3, "the connection to probe 600000011 was lost"},
        {"JLINK_RTTERMINAL_Read#5=-1+0", 1, "cannot read RTT channel 1: "},
        {"JLINK_RTTERMINAL_Control#1=-1", 1, "cannot start RTT: "},
        {"JLINK_RTTERMINAL_Control#2=-5", 1, "cannot look for the RTT control block: "},
        {"JLINKARM_ExecCommand#9!Wrong ranges.", 1, "Wrong ranges"},
    };
    for (const auto& [order, exit_code, error] : cases) {
        EXPECT_THAT(talk({"--raw", "-c", "1", "--no-input"}, faults(order)), FailsWith(exit_code, error)) << order;
    }
    const Outcome absent = talk({"-c", "2"});
    EXPECT_THAT(absent, FailsWith(1, "no up channel 2"));
    EXPECT_THAT(absent.errors, HasSubstr("0 'log', 1 'counter'"));
    EXPECT_THAT(talk({"--down", "1"}), FailsWith(1, "no down channel 1"));
}

TEST_F(RttTest, FirmwareWithoutRttIsNotWaitedForInVain)
{
    program_example("counter.bin");
    EXPECT_THAT(talk({"--reset", "--timeout", "0.1"}), FailsWith(9, "no RTT control block was found within 0.1 s"));
    EXPECT_THAT(talk({"--list", "--address", "0x20000100", "--timeout", "0.1"}), FailsWith(9, "no RTT control block"));
    // It halts, and so will never make a control block.
    program_example("breakpoint.bin");
    const Outcome outcome = talk({"--reset"});
    EXPECT_THAT(outcome, FailsWith(9, "the CPU is halted at 0x000000a2: it is at a breakpoint instruction (BKPT)"));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("rtt --reset")));
    ASSERT_THAT(tessit({"erase", "--all"}), Exits(0));
    EXPECT_THAT(talk({"--reset"}), FailsWith(1, "the flash holds no firmware at address 0"));
    EXPECT_THAT(talk({}), FailsWith(1, "the CPU is halted at 0xfffffffe: the flash holds no firmware at address 0"));
    ASSERT_THAT(tessit({"reset"}), Exits(0));
    EXPECT_THAT(talk({}), FailsWith(1, "the CPU is locked up at 0xfffffffe: the flash holds no firmware at address 0"));
    ASSERT_THAT(tessit({"protect", "--yes"}), Exits(0));
    EXPECT_THAT(talk({"--list"}), FailsWith(5, "protected"));
}

TEST_F(RttTest, LetsAHaltedCpuRunUnlessToldOtherwise)
{
    ASSERT_THAT(tessit({"reset", "--halt"}), Exits(0));
    EXPECT_THAT(talk({"--no-go", "--timeout", "0.5"}), FailsWith(9, "no RTT control block"));
    const Outcome outcome = talk({"--until", "ready", "--no-input"});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.errors, HasSubstr("it runs now"));
    EXPECT_THAT(talk({"--list"}).errors, Not(HasSubstr("it runs now")));
}

TEST_F(RttTest, CtrlCEndsIt)
{
    RunningCommand command{{"--sim", "--speed", "50000", "-v", "--progress=json", "rtt", "--reset", "--no-input"},
                           environment()};
    EXPECT_TRUE(command.wait_for("Birch_rtt_read\"", 5));
    command.signal(SIGINT);
    const Outcome outcome = command.finish();
    EXPECT_EQ(outcome.exit_code, 130);
    EXPECT_THAT(outcome.output, StartsWith(banner));
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("Birch_rtt_stop"), HasSubstr("Birch_close_dll"), Not(HasSubstr("Error"))));
}

TEST_F(RttTest, RefusesWhatMakesNoSense)
{
    const Arguments cases[] = {
        {"--raw", "--timestamps"}, {"--raw", "-c", "0", "-c", "1"}, {"--list", "--until", "x"}, {"--until", ""},
        {"--reset", "--no-go"},    {"--no-input", "--down", "0"},   {"--timeout", "-1"},        {"--timeout", "soon"},
        {"--channel", "x"},        {"--address", "0x20000001"},     {"--json", "--raw"}};
    for (const Arguments& wrong : cases) {
        EXPECT_THAT(talk(wrong), FailsWith(2, "")) << testing::PrintToString(wrong);
    }
}

} // namespace
} // namespace tessit::cli
