#include "cli/commands/talk.h"

#include "cli/text/numbers.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr const char* until = "--until";
constexpr const char* until_regex = "--until-regex";
constexpr const char* exit_code_from = "--exit-code-from";

void let_cpu_run(const Target& target, const TalkOptions& options, const Console& console)
{
    if (options.stays_halted || !target.is_halted()) {
        return;
    }
    if (!options.reset) {
        if (is_at_lock_up(target)) {
            throw stopped_cpu(target, CpuState::halted, does_not_run, "rtt --reset", ExitCode::verdict);
        }
        console.note("The CPU was halted; it runs now.");
    }
    target.go();
}

// Leaves the CPU halted before its first instruction, so that nothing can be missed.
void restart(const Target& target)
{
    const Session& session = target.session();
    session.check(TESSIT_sys_reset(), "reset the chip");
    if (has_no_firmware(target)) {
        throw Failure{ExitCode::failure, "the flash holds no firmware at address 0",
                      fmt::format("`{}` puts firmware there.", session.command_line("program FILE"))};
    }
    erase_old_control_blocks(target);
}

// Whether the CPU was locked up, which cannot be seen any longer once the chip is connected.
bool prepare(const Target& target, const TalkOptions& options)
{
    const bool was_locked_up = !options.reset && look_at_cpu(target.session()) == CpuState::locked_up;
    target.connect();
    if (options.reset) {
        restart(target);
    }
    return was_locked_up;
}

CpuWatch::Options watch_options(const Target& target, const TalkOptions& options, bool was_locked_up,
                                const Console& console)
{
    let_cpu_run(target, options, console);
    return {.was_locked_up = was_locked_up,
            .may_be_halted = options.stays_halted && target.is_halted(),
            .restart = options.reset ? "" : "rtt --reset"};
}

std::uint32_t parse_channel(const std::string& text)
{
    return parse_u32(text, "number of the channel");
}

Words parse_exit_code(const std::string& text)
{
    Words words = Words::of_regex(text, exit_code_from);
    if (words.regex().mark_count() == 0) {
        throw Failure{ExitCode::usage, fmt::format("{} '{}' has no group for the number", exit_code_from, text),
                      "Put the number into parentheses: 'exit: ([0-9]+)'."};
    }
    return words;
}

} // namespace

std::vector<Option> add_talk_options(const Verb& verb, TalkOptions& options)
{
    ConversationOptions& conversation = options.conversation;
    VerdictOptions& verdict = conversation.verdict;
    const Option raw = verb.flag("--raw", options.raw, "The channel's bytes and nothing else");
    const Option timestamps = verb.flag("-t,--timestamps", conversation.output.timestamps,
                                        "The time of day before every line; with --sim the modelled time")
                                  .excludes(raw);
    verb.parsed(
        "--timeout", "SECONDS",
        [&conversation](const std::string& text) { conversation.timeout = parse_seconds(text, "--timeout"); },
        "End after this time: against the firmware when words of it, or a control block, are still waited for");
    verb.parsed(
        "--address", "ADDR", [&options](const std::string& text) { options.control_block = parse_word_address(text); },
        "Where the control block is, instead of a search in RAM");
    return {
        raw,
        timestamps,
        verb.parsed_list(
            "-c,--channel", "N",
            [&options](const std::string& text) { options.channels.push_back(parse_channel(text)); },
            "Up channel to show; may be repeated; default 0"),
        verb.text("-o,--output", "FILE", conversation.output.file, "Write what is shown to a file, too"),
        verb.parsed_list(
            until, "TEXT", [](const std::string& text) { Words::of_text(text, until); },
            "Pass as soon as a channel has said this text; may be repeated: all have to come"),
        verb.parsed_list(
            until_regex, "REGEX", [](const std::string& text) { Words::of_regex(text, until_regex); },
            "The same for a line that matches this regular expression"),
        verb.flag("--in-order", verdict.in_order, "They have to come in the order in which they are given"),
        verb.parsed_list(
            "--fail-on", "TEXT",
            [&verdict](const std::string& text) { verdict.fail_on.push_back(Words::of_text(text, "--fail-on")); },
            "Fail as soon as a channel says this text; may be repeated"),
        verb.parsed(
            exit_code_from, "REGEX",
            [&verdict](const std::string& text) { verdict.exit_code_from = parse_exit_code(text); },
            "End with the exit code that is the first group of a line's match"),
    };
}

void complete_talk_options(const Verb& verb, const Console& console, TalkOptions& options)
{
    ConversationOptions& conversation = options.conversation;
    for (const auto& [name, text] : verb.given_in_order({until, until_regex})) {
        conversation.verdict.until.push_back(name == until ? Words::of_text(text, until)
                                                           : Words::of_regex(text, until_regex));
    }
    if (console.is_json()) {
        if (options.raw || conversation.output.timestamps) {
            throw Failure{ExitCode::usage, "with --json every line of a channel is JSON that holds its time",
                          "Leave --raw and --timestamps away."};
        }
        console.speak_in_lines();
        conversation.output.json = true;
    }
    if (!options.channels.empty()) {
        conversation.up = options.channels;
    }
    if (options.raw && conversation.up.size() > 1) {
        throw Failure{ExitCode::usage, "--raw shows one channel, and several are named", "Give one --channel."};
    }
}

Talk::Talk(const Target& target, const TalkOptions& options, const Console& console)
    : options_{options},
      console_{console},
      was_locked_up_{prepare(target, options)},
      link_{target.session(), options.control_block},
      cpu_{target, watch_options(target, options, was_locked_up_, console)}
{
}

RttChannels Talk::channels()
{
    return wait_for_channels(link_, cpu_, Deadline{link_.clock(), options_.conversation.timeout}, console_);
}

Report Talk::converse()
{
    Conversation conversation{link_, cpu_, options_.conversation, console_};
    conversation.run();
    return {conversation.verdict().summary(), conversation.verdict().to_json()};
}

} // namespace tessit::cli
