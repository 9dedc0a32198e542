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
    void program(const std::string& path) const { ASSERT_THAT(tessit({"program", path + "@0"}), Exits(0)); }
    void program_example(const std::string& name) const { program(std::string{FIRMWARE_FOLDER "/"} + name); }

    // At the fastest speed that the probe has, so that the tests do not wait for the wire.
    static Arguments rtt(const Arguments& arguments)
    {
        Arguments all{"--speed", "50000", "rtt"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }
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
    program_example("rtt_echo.bin");
    const Outcome outcome = talk({"--reset", "--list"});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("up         0        log      1024"), HasSubstr("up         1        counter  4096"),
                      HasSubstr("down       0        echo     256")));
    const nlohmann::json channels = tessit_json(rtt({"--list"}))["channels"];
    ASSERT_EQ(channels.size(), 3U);
    EXPECT_EQ(channels[2], nlohmann::json({{"direction", "down"}, {"channel", 0}, {"name", "echo"}, {"size", 256}}));
}

TEST_F(RttTest, StreamsBytesAsTheFirmwareSentThem)
{
    program_example("rtt_echo.bin");
    // 1 MiB, or 8 MiB: up to the word 0x040404 or 0x202020.
    const char last = is_long_run() ? 0x20 : 0x04;
    const std::size_t size = is_long_run() ? 8 << 20 : 1 << 20;
    const Outcome outcome = talk({"--reset", "--raw", "--channel", "1", "--no-input", "--until", three(last)});
    EXPECT_THAT(outcome.exit_code, 0) << outcome.errors;
    EXPECT_GE(outcome.output.size(), size);
    EXPECT_TRUE(is_counter_stream(outcome.output));
}

struct Echo
{
    const char* name;
    const char* firmware;
    std::size_t size;
    std::size_t long_size;
};

void PrintTo(const Echo& echo, std::ostream* out)
{
    *out << echo.firmware;
}

class RttEchoTest : public RttTest, public testing::WithParamInterface<Echo>
{
};

TEST_P(RttEchoTest, ReturnsAPipedFileToTheLastByte)
{
    program_example(GetParam().firmware);
    binary("random", is_long_run() ? GetParam().long_size : GetParam().size);
    const std::string sent = content("random");
    const Outcome outcome = talk_with_input(sent, {"--reset", "--raw"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
    EXPECT_EQ(outcome.output.size(), std::string_view{banner}.size() + sent.size());
    EXPECT_TRUE(outcome.output == banner + upper(sent));
}

INSTANTIATE_TEST_SUITE_P(Rtt, RttEchoTest,
                         testing::Values(Echo{"usual_rings", "rtt_echo.bin", 1 << 20, 1 << 20},
                                         Echo{"rings_of_16", "rtt_echo_tiny.bin", 1 << 14, 1 << 20}),
                         [](const auto& info) { return std::string{info.param.name}; });

TEST_F(RttTest, ATextOrTheTimeEndsIt)
{
    program_example("rtt_echo.bin");
    struct Case
    {
        Arguments arguments;
        int exit_code;
        const char* error; // a part of it
    };
    for (const Case& end : std::vector<Case>{
             {{"--reset", "--until", "is ready", "--timeout", "60"}, 0, ""},
             {{"--reset", "--until", "is ready", "--no-input"}, 0, ""},
             {{"--reset", "--until", "never", "--timeout", "0.2"}, 1, "'never' did not come within 0.2 s"},
             {{"--reset", "--timeout", "0.2"}, 0, ""},
             {{"--reset"}, 0, ""}, // the input has ended, and nothing more comes
         }) {
        SCOPED_TRACE(testing::PrintToString(end.arguments));
        const Outcome outcome = talk(end.arguments);
        EXPECT_EQ(outcome.exit_code, end.exit_code);
        EXPECT_EQ(outcome.output, banner);
        EXPECT_THAT(outcome.errors, HasSubstr(end.error));
    }
    // A text that comes in the answer to the input, and only then.
    EXPECT_THAT(talk_with_input("hello\n", {"--reset", "--until", "HELLO"}), Exits(0));
}

TEST_F(RttTest, ShowsLinesWithTimeAndChannelAndKeepsThem)
{
    program_example("rtt_echo.bin");
    const std::string log = path("session.log");
    const Outcome timed = talk_with_input("one\ntwo\n", {"--reset", "--timestamps", "--log", log});
    const std::string time = "\\[[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]\\] ";
    EXPECT_THAT(timed.output, MatchesRegex(time + "rtt_echo is ready\n" + time + "ONE\n" + time + "TWO\n"));
    EXPECT_EQ(content("session.log"), timed.output);
    const Outcome several = talk({"--reset", "-c", "0", "-c", "1", "--until", "ready", "--no-input"});
    EXPECT_THAT(several.output, HasSubstr("log: rtt_echo is ready\n"));
    EXPECT_THAT(several.output, HasSubstr("counter: "));
    EXPECT_THAT(talk({"--log", path("no/such/folder")}), FailsWith(1, "cannot write the log"));
}

TEST_F(RttTest, AResetShowsTheFirmwareFromItsBeginAndNothingOfBefore)
{
    program_example("rtt_echo.bin");
    for (int again = 0; again < 2; ++again) {
        const Outcome stream = talk({"--reset", "--raw", "-c", "1", "--no-input", "--until", three(1)});
        EXPECT_THAT(stream.exit_code, 0) << stream.errors;
        EXPECT_TRUE(is_counter_stream(stream.output));
    }
    // Without a reset it goes on where it was.
    EXPECT_THAT(talk({"--raw", "-c", "1", "--no-input", "--until", three(1), "--timeout", "0.1"}), Exits(1));
}

TEST_F(RttTest, GoesOnWhenTheFirmwareResetsItself)
{
    program(RTT_TEST_FOLDER "/restart.bin");
    const Outcome outcome = talk_with_input("abcR", {"--reset"});
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
    program(file("crashing.bin", crashing));

    const Outcome outcome = talk_with_input("abcR", {"--reset", "--until", "start over"});
    EXPECT_THAT(outcome, FailsWith(1, "the firmware has stopped: the CPU is halted at 0x0000"));
    EXPECT_THAT(outcome.errors, HasSubstr("refused by the bus (PRECISERR), the address was 0x30003d0c"));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("rtt --reset")));
    EXPECT_THAT(outcome.output, MatchesRegex("start [0-9]\nabcreset\n")) << "what it said before";
    // A time that is up is no success, and whoever leaves the CPU halted does not wait for more.
    EXPECT_THAT(talk_with_input("R", {"--reset", "--timeout", "0.09"}), FailsWith(1, "PRECISERR"));
    EXPECT_THAT(talk({"--no-go", "--no-input", "--timeout", "0.2"}), Exits(0));
    EXPECT_THAT(content("records"), HasSubstr("write of 4 bytes at 0x30003D0C"));
    file("records", ""); // the firmware's doing
}

TEST_F(RttTest, ItsTimeIsTheChips)
{
    program_example("rtt_echo.bin");
    ASSERT_THAT(talk({"--reset", "--timeout", "0"}), Exits(0));
    const auto trace = [this](const char* name) {
        EXPECT_THAT(talk({"--reset", "--timeout", "0.05"}, {{"JLINKARM_SIM_TRACE", path(name)}}), Exits(0));
        return content(name);
    };
    EXPECT_EQ(trace("first"), trace("second"));
}

TEST_F(RttTest, GoesOnWhenTheConnectionToTheChipComesBack)
{
    program_example("rtt_echo.bin");
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
    program_example("rtt_echo.bin");
    ASSERT_THAT(tessit({"reset"}), Exits(0));
    struct Case
    {
        const char* faults;
        int exit_code;
        const char* error;
    };
    for (const Case& failing : {
             Case{"JLINK_RTTERMINAL_Read#5@unplug", 3, "the connection to probe 600000011 was lost"},
             Case{"JLINK_RTTERMINAL_Read#5=-1+0", 1, "cannot read RTT channel 1: "},
             Case{"JLINK_RTTERMINAL_Read#5=-1+0", 1, "RTTERMINAL_Read returned error -1"},
             Case{"JLINK_RTTERMINAL_Control#1=-1", 1, "cannot start RTT: "},
             Case{"JLINK_RTTERMINAL_Control#2=-5", 1, "cannot look for the RTT control block: "},
             Case{"JLINKARM_ExecCommand#9!Wrong ranges.", 1, "Wrong ranges"},
         }) {
        EXPECT_THAT(talk({"--raw", "-c", "1", "--no-input"}, faults(failing.faults)),
                    FailsWith(failing.exit_code, failing.error))
            << failing.faults;
    }
    EXPECT_THAT(talk({"-c", "2"}), FailsWith(1, "no up channel 2"));
    EXPECT_THAT(talk({"-c", "2"}).errors, HasSubstr("0 'log', 1 'counter'"));
    EXPECT_THAT(talk({"--down", "1"}), FailsWith(1, "no down channel 1"));
}

TEST_F(RttTest, FirmwareWithoutRttIsNotWaitedForInVain)
{
    program_example("counter.bin");
    EXPECT_THAT(talk({"--reset", "--timeout", "0.1"}), FailsWith(1, "no RTT control block was found within 0.1 s"));
    EXPECT_THAT(talk({"--list", "--address", "0x20000100", "--timeout", "0.1"}), FailsWith(1, "no RTT control block"));
    // It halts, and so will never make a control block.
    program_example("breakpoint.bin");
    for (const Arguments& waiting : std::vector<Arguments>{{"--reset"}, {"--reset", "--timeout", "0.1"}}) {
        const Outcome outcome = talk(waiting);
        EXPECT_THAT(outcome, FailsWith(1, "the CPU is halted at 0x000000a2: it is at a breakpoint instruction (BKPT)"));
        EXPECT_THAT(outcome.errors, Not(HasSubstr("rtt --reset")));
    }
    ASSERT_THAT(tessit({"erase", "--all"}), Exits(0));
    EXPECT_THAT(talk({"--reset"}), FailsWith(1, "the flash is empty"));
    EXPECT_THAT(talk({}), FailsWith(1, "the CPU is halted at 0xfffffffe: the flash is empty"));
    ASSERT_THAT(tessit({"reset"}), Exits(0));
    EXPECT_THAT(talk({}), FailsWith(1, "the CPU is locked up at 0xfffffffe: the flash is empty"));
    set_bench("[[probe]]\nserial = 600000012\n[probe.chip]\nversion = \"BIRCH_M3_VA_REV1\"\nprotected = true\n");
    EXPECT_THAT(talk({"--list"}), FailsWith(5, "protected"));
}

TEST_F(RttTest, LetsAHaltedCpuRunUnlessToldOtherwise)
{
    program_example("rtt_echo.bin");
    ASSERT_THAT(tessit({"reset", "--halt"}), Exits(0));
    EXPECT_THAT(talk({"--no-go", "--timeout", "0.5"}), FailsWith(1, "no RTT control block"));
    const Outcome outcome = talk({"--until", "ready", "--no-input"});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_THAT(outcome.errors, HasSubstr("it runs now"));
    EXPECT_THAT(talk({"--list"}).errors, Not(HasSubstr("it runs now")));
}

TEST_F(RttTest, CtrlCEndsIt)
{
    program_example("rtt_echo.bin");
    const Outcome outcome = [this] {
        RunningCommand command{{"--sim", "--speed", "50000", "-v", "rtt", "--reset", "--no-input"}, environment()};
        EXPECT_TRUE(command.wait_for("Birch_rtt_read\n", 5));
        command.signal(SIGINT);
        return command.finish();
    }();
    EXPECT_EQ(outcome.exit_code, 130);
    EXPECT_THAT(outcome.output, StartsWith(banner));
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("Birch_rtt_stop"), HasSubstr("Birch_close_dll"), Not(HasSubstr("Error"))));
}

TEST_F(RttTest, RefusesWhatMakesNoSense)
{
    for (const Arguments& wrong : std::vector<Arguments>{{"--raw", "--timestamps"},
                                                         {"--raw", "-c", "0", "-c", "1"},
                                                         {"--list", "--until", "x"},
                                                         {"--until", ""},
                                                         {"--reset", "--no-go"},
                                                         {"--no-input", "--down", "0"},
                                                         {"--timeout", "-1"},
                                                         {"--timeout", "soon"},
                                                         {"--channel", "x"},
                                                         {"--address", "0x20000001"},
                                                         {"--json"}}) {
        EXPECT_THAT(talk(wrong), FailsWith(2, "")) << testing::PrintToString(wrong);
    }
}

} // namespace
} // namespace tessit::cli
