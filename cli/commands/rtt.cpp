#include "cli/commands/on_probes.h"
#include "cli/rtt/conversation.h"
#include "cli/text/table.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    bool list = false;
    bool raw = false;
    bool reset = false;
    bool stays_halted = false;
    bool no_input = false;
    std::vector<std::uint32_t> channels; // empty: the conversation's own
    std::optional<std::uint32_t> control_block;
    std::optional<std::chrono::duration<double>> timeout;
    ConversationOptions conversation;
};

void add_rows(const char* direction, const std::vector<RttChannel>& channels,
              std::vector<std::vector<std::string>>& rows, Json& json)
{
    for (const RttChannel& channel : channels) {
        rows.push_back({direction, std::to_string(channel.index), channel.name, std::to_string(channel.size)});
        json.push_back(
            {{"direction", direction}, {"channel", channel.index}, {"name", channel.name}, {"size", channel.size}});
    }
}

Report describe(const RttChannels& channels)
{
    std::vector<std::vector<std::string>> rows{{"DIRECTION", "CHANNEL", "NAME", "BYTES"}};
    Json json = Json::list();
    add_rows("up", channels.up, rows, json);
    add_rows("down", channels.down, rows, json);
    return {format_table(rows), {{"channels", std::move(json)}}};
}

void let_cpu_run(const Target& target, const Options& options, const Console& console)
{
    if (options.stays_halted || !target.is_halted()) {
        return;
    }
    if (!options.reset) {
        if (is_at_lock_up(target)) {
            throw stopped_cpu(target, CpuState::halted, does_not_run, "rtt --reset");
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
        throw Failure{ExitCode::failure, "the flash is empty: there is no firmware to talk with",
                      fmt::format("`{}` puts firmware there.", session.command_line("program FILE"))};
    }
    erase_old_control_blocks(target);
}

Report talk(const Target& target, const Options& options, const Console& console)
{
    Session& session = target.session();
    const bool was_locked_up = !options.reset && look_at_cpu(session) == CpuState::locked_up;
    target.connect();
    if (options.reset) {
        restart(target);
    }
    RttLink link{session, options.control_block};
    let_cpu_run(target, options, console);
    const CpuWatch cpu{target,
                       {.was_locked_up = was_locked_up,
                        .may_be_halted = options.stays_halted && target.is_halted(),
                        .restart = options.reset ? "" : "rtt --reset"}};
    if (options.list) {
        return describe(wait_for_channels(link, cpu, Deadline{session.clock(), options.conversation.timeout}, console));
    }
    Conversation conversation{link, cpu, options.conversation, console};
    conversation.run();
    const std::string& until = options.conversation.until;
    return {"", {{"until", until.empty() ? Json() : Json(until)}, {"until_came", conversation.has_text_come()}}};
}

ExitCode run(const Invocation& invocation, Options& options)
{
    ConversationOptions& conversation = options.conversation;
    if (invocation.console.is_json() && !options.list) {
        if (options.raw || conversation.output.timestamps) {
            throw Failure{ExitCode::usage, "with --json every line of a channel is JSON that holds its time",
                          "Leave --raw and --timestamps away."};
        }
        invocation.console.speak_in_lines();
        conversation.output.json = true;
    }
    if (!options.channels.empty()) {
        conversation.up = options.channels;
    }
    if (options.raw && conversation.up.size() > 1) {
        throw Failure{ExitCode::usage, "--raw shows one channel, and several are named", "Give one --channel."};
    }
    conversation.takes_input = !options.no_input;
    if (options.timeout) {
        conversation.timeout = *options.timeout;
    }
    return run_on_probe(invocation, [&](const Target& target) { return talk(target, options, invocation.console); });
}

std::uint32_t parse_channel(const std::string& text)
{
    return parse_u32(text, "number of the channel");
}

std::string parse_end(const std::string& text)
{
    if (text.empty()) {
        throw Failure{ExitCode::usage, "--until has an empty text, which would be there at once",
                      "Give the text that the firmware ends with; a script may have used a variable that is not set."};
    }
    return text;
}

} // namespace

Command add_rtt(const Verb& root)
{
    const Verb verb = root.verb("rtt", "Talk with the firmware over RTT");
    const auto options = std::make_shared<Options>();
    ConversationOptions& conversation = options->conversation;

    const Option list = verb.flag("--list", options->list, "List the firmware's channels");
    verb.parsed_list(
            "-c,--channel", "N",
            [options](const std::string& text) { options->channels.push_back(parse_channel(text)); },
            "Up channel to show; may be repeated; default 0")
        .excludes(list);
    const Option down = verb.parsed(
                                "--down", "N",
                                [&conversation](const std::string& text) {
                                    conversation.down = parse_channel(text);
                                    conversation.needs_down = true;
                                },
                                "Down channel that gets what is typed, line by line, or piped in; default 0")
                            .excludes(list);
    verb.flag("--no-input", options->no_input, "Leave standard input alone").excludes(down).excludes(list);
    const Option raw = verb.flag("--raw", options->raw, "The channel's bytes and nothing else").excludes(list);
    verb.flag("-t,--timestamps", conversation.output.timestamps,
              "The time of day before every line; with --sim the modelled time")
        .excludes(raw)
        .excludes(list);
    verb.text("--log", "FILE", conversation.output.log_file, "Write what is shown to a file, too").excludes(list);
    verb.parsed(
            "--until", "TEXT", [&conversation](const std::string& text) { conversation.until = parse_end(text); },
            "End with exit code 0 as soon as a channel says this text")
        .excludes(list);
    verb.parsed(
        "--timeout", "SECONDS",
        [options](const std::string& text) { options->timeout = parse_seconds(text, "--timeout"); },
        "End after this time: with exit code 1 when --until, or a control block, is still waited for");
    const Option reset =
        verb.flag("--reset", options->reset, "Start the firmware from its beginning, and miss nothing that it says");
    verb.flag("--no-go", options->stays_halted, "Leave a halted CPU halted").excludes(reset);
    verb.parsed(
        "--address", "ADDR", [options](const std::string& text) { options->control_block = parse_word_address(text); },
        "Where the control block is, instead of a search in RAM");
    verb.footer("Without --until and --timeout the end of the input ends the command, when the firmware has said\n"
                "nothing more for half a second. Ctrl-C ends it always.");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
