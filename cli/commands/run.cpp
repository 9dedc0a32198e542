#include "cli/commands/program_chip.h"
#include "cli/commands/talk.h"
#include "cli/firmware/firmware.h"
#include "cli/terminal/progress.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    std::vector<std::string> files;
    ProgramOptions program;
    TalkOptions talk;
};

// A note, not a result: standard output is the firmware's.
void tell_passed(const Console& console, const std::string& why, Clock::Duration elapsed)
{
    console.note(why.empty() ? fmt::format("The firmware ran for {}.", format_seconds(elapsed))
                             : fmt::format("Passed: {} after {}.", why, format_seconds(elapsed)));
}

Report judge(Target& target, const Image& image, const Options& options, const Console& console)
{
    const Report programmed = program_chip(target, image, options.program, console);
    console.note(programmed.text.substr(0, programmed.text.find('\n')));
    const Clock& clock = target.session().clock();
    Talk talk{target, options.talk, console};
    const Clock::Duration begin = clock.now();
    Report report = talk.converse();
    tell_passed(console, report.text, clock.now() - begin);
    report.json["program"] = programmed.json;
    return {"", std::move(report.json)};
}

ExitCode run(const Invocation& invocation, const Verb& verb, Options& options)
{
    complete_talk_options(verb, invocation.console, options.talk);
    options.talk.reset = true;
    const Image image = read_firmware(options.files);
    return run_on_probe(invocation, [&](Target& target) { return judge(target, image, options, invocation.console); });
}

} // namespace

Command add_run(const Verb& root)
{
    const Verb verb = root.verb("run", "Program firmware, start it, and judge it by what it says over RTT");
    const auto options = std::make_shared<Options>();
    options->talk.conversation.takes_input = false;
    options->talk.conversation.verdict.is_test = true;
    verb.text_list("FILES", "", options->files, "Firmware files, as for program").required();
    add_talk_options(verb, options->talk);
    verb.flag("--input", options->talk.conversation.takes_input, "Give the firmware what standard input has to say");
    add_program_options(verb, options->program);
    verb.footer("Ends with 0 when all words came or the firmware ended with exit code 0, with the firmware's\n"
                "own exit code, and with 9 for every other verdict against it. A firmware's exit is a line that\n"
                "--exit-code-from matches, or the semihosting call SYS_EXIT or SYS_EXIT_EXTENDED. Regular\n"
                "expressions are ECMAScript's.");
    return {verb, [verb, options](const Invocation& invocation) { return run(invocation, verb, *options); }};
}

} // namespace tessit::cli
