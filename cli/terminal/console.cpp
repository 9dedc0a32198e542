#include "cli/terminal/console.h"

#include "base/environment.h"
#include "cli/platform/platform.h"
#include "cli/terminal/stream.h"

#include <fmt/format.h>

namespace tessit::cli {
Console::Console(const Options& options)
    : options_{options},
      draws_bars_{platform::is_terminal(stderr) && !options.narrated && !options.events && !options.quiet},
      has_colours_{platform::is_terminal(stderr) && base::environment("NO_COLOR").empty()}
{
}

void Console::show(std::string_view text, Json json) const
{
    if (options_.events && !text.empty()) {
        tell("result", {{"text", text}});
    }
    if (!options_.json) {
        print_to(stdout, "{}", text);
        return;
    }
    const Json result = result_json(*course_, std::move(json));
    print_to(stdout, "{}\n", course_->in_lines ? result.dump_line() : result.dump());
}

void Console::tell(std::string_view event, Json body) const
{
    print_to(stderr, "{}\n", event_json(*course_, event, std::move(body)).dump_line());
}

void Console::note(std::string_view line) const
{
    if (!is_quiet()) {
        remark(line);
    }
}

void Console::remark(std::string_view line) const
{
    if (options_.events) {
        tell("note", {{"text", line}});
        return;
    }
    print_to(stderr, "{}\n", line);
}

std::string Console::error_label() const
{
    return has_colours_ ? "\x1b[1;31mError:\x1b[0m" : "Error:"; // bold and red
}

void Console::report_line(const Failure& failure) const
{
    if (options_.events) {
        tell("error", {{"error", to_json(failure)}});
        return;
    }
    if (failure.code() == ExitCode::interrupted) {
        remark(failure.what());
    } else {
        print_to(stderr, "{} {}\n", error_label(), failure.what());
    }
    if (!failure.hint().empty()) {
        print_to(stderr, "Hint: {}\n", failure.hint());
    }
}

void Console::report(const Failure& failure) const
{
    if (options_.json) {
        show({}, Json{{"error", to_json(failure)}});
    }
    report_line(failure);
}

void Console::confirm(std::string_view consequence) const
{
    if (options_.yes) {
        return;
    }
    if (!platform::is_terminal(stdin)) {
        throw Failure{ExitCode::usage,
                      fmt::format("{} This needs to be confirmed, and there is no terminal to ask", consequence),
                      "Add --yes when that is what you want."};
    }
    print_to(stderr, "{} Continue? [y/N] ", consequence);
    const std::string answer = platform::read_line();
    stop_if_interrupted("nothing was changed");
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw Failure{ExitCode::failure, "not confirmed, nothing was changed"};
    }
}

Failure interrupted(std::string_view state)
{
    return {ExitCode::interrupted, state.empty() ? std::string{"interrupted"} : fmt::format("interrupted: {}", state)};
}

void stop_if_interrupted(std::string_view state)
{
    if (platform::is_interrupted()) {
        throw interrupted(state);
    }
}

} // namespace tessit::cli
