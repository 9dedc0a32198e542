#include "cli/commands/talk.h"
#include "cli/text/table.h"

#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    TalkOptions talk;
    bool list = false;
    bool no_input = false;
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

Report talk(const Target& target, const Options& options, const Console& console)
{
    Talk talk{target, options.talk, console};
    if (options.list) {
        return describe(talk.channels());
    }
    return {"", talk.converse().json};
}

ExitCode run(const Invocation& invocation, const Verb& verb, Options& options)
{
    if (!options.list) {
        complete_talk_options(verb, invocation.console, options.talk);
    }
    options.talk.conversation.takes_input = !options.no_input;
    return run_on_probe(invocation, [&](const Target& target) { return talk(target, options, invocation.console); });
}

} // namespace

Command add_rtt(const Verb& root)
{
    const Verb verb = root.verb("rtt", "Talk with the firmware over RTT");
    const auto options = std::make_shared<Options>();
    ConversationOptions& conversation = options->talk.conversation;

    const Option list = verb.flag("--list", options->list, "List the firmware's channels");
    const Option down = verb.parsed(
                                "--down", "N",
                                [&conversation](const std::string& text) {
                                    conversation.down = parse_u32(text, "number of the channel");
                                    conversation.needs_down = true;
                                },
                                "Down channel that gets what is typed, line by line, or piped in; default 0")
                            .excludes(list);
    verb.flag("--no-input", options->no_input, "Leave standard input alone").excludes(down).excludes(list);
    for (const Option& of_words : add_talk_options(verb, options->talk)) {
        of_words.excludes(list);
    }
    const Option reset = verb.flag("--reset", options->talk.reset,
                                   "Start the firmware from its beginning, and miss nothing that it says");
    verb.flag("--no-go", options->talk.stays_halted, "Leave a halted CPU halted").excludes(reset);
    verb.footer("Without words to wait for and --timeout the end of the input ends the command, when the firmware has\n"
                "said nothing more for half a second. Ctrl-C ends it always.");
    return {verb, [verb, options](const Invocation& invocation) { return run(invocation, verb, *options); }};
}

} // namespace tessit::cli
