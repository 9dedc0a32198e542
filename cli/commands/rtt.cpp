#include "cli/commands/on_probes.h"
#include "cli/rtt/conversation.h"
#include "cli/text/table.h"

#include <CLI/Validators.hpp>
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
    std::optional<std::uint32_t> control_block;
    std::optional<double> timeout; // seconds
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
    Json json = Json::array();
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
        console.note("The CPU was halted; it runs now.");
    }
    target.go();
}

Report talk(const Target& target, const Options& options, const Console& console)
{
    Session& session = target.session();
    target.connect();
    if (options.reset) { // which leaves the CPU halted before its first instruction, so that nothing can be missed
        session.check(TESSIT_sys_reset(), "reset the chip");
        erase_old_control_blocks(target);
    }
    RttLink link{session, options.control_block};
    let_cpu_run(target, options, console);
    if (options.list) {
        return describe(wait_for_channels(link, Deadline{options.conversation.timeout}, console));
    }
    Conversation{link, options.conversation, console}.run();
    return {};
}

ExitCode run(const Invocation& invocation, Options& options)
{
    if (invocation.console.is_json() && !options.list) {
        throw Failure{ExitCode::usage, "what channels say cannot be shown as JSON", "--json goes with --list."};
    }
    ConversationOptions& conversation = options.conversation;
    if (options.raw && conversation.up.size() > 1) {
        throw Failure{ExitCode::usage, "--raw shows one channel, and several are named", "Give one --channel."};
    }
    conversation.takes_input = !options.no_input;
    if (options.timeout) {
        conversation.timeout = std::chrono::duration<double>{*options.timeout};
    }
    return run_on_probe(invocation, [&](const Target& target) { return talk(target, options, invocation.console); });
}

} // namespace

Command add_rtt(CLI::App& app)
{
    constexpr double longest_timeout = 1e6;
    CLI::App* const command = app.add_subcommand("rtt", "Talk with the firmware over RTT");
    const auto options = std::make_shared<Options>();
    ConversationOptions& conversation = options->conversation;

    auto* const list = command->add_flag("--list", options->list, "List the firmware's channels");
    command->add_option("-c,--channel", conversation.up, "Up channel to show; may be repeated; default 0")
        ->option_text("N")
        ->allow_extra_args(false)
        ->excludes(list);
    auto* const down = command
                           ->add_option_function<std::uint32_t>(
                               "--down",
                               [options](std::uint32_t channel) {
                                   options->conversation.down = channel;
                                   options->conversation.needs_down = true;
                               },
                               "Down channel that gets what is typed, line by line, or piped in; default 0")
                           ->option_text("N")
                           ->excludes(list);
    command->add_flag("--no-input", options->no_input, "Leave standard input alone")->excludes(down)->excludes(list);
    auto* const raw = command->add_flag("--raw", options->raw, "The channel's bytes and nothing else")->excludes(list);
    command->add_flag("-t,--timestamps", conversation.output.timestamps, "The time of day before every line")
        ->excludes(raw)
        ->excludes(list);
    command->add_option("--log", conversation.output.log_file, "Write what is shown to a file, too")
        ->option_text("FILE")
        ->excludes(list);
    command->add_option("--until", conversation.until, "End with exit code 0 as soon as a channel says this text")
        ->option_text("TEXT")
        ->excludes(list);
    command
        ->add_option("--timeout", options->timeout,
                     "End after this time: with exit code 1 when --until, or a control block, is still waited for")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.0, longest_timeout));
    auto* const reset = command->add_flag("--reset", options->reset,
                                          "Start the firmware from its beginning, and miss nothing that it says");
    command->add_flag("--no-go", options->stays_halted, "Leave a halted CPU halted")->excludes(reset);
    add_parsed(
        *command, "--address",
        [options](const std::string& text) { options->control_block = parse_word_address(text); },
        "Where the control block is, instead of a search in RAM", "ADDR");
    command->footer("Without --until and --timeout the end of the input ends the command, when the firmware has said\n"
                    "nothing more for half a second. Ctrl-C ends it always.");
    return {command, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
