#include "cli/line/outcome.h"

#include "cli/terminal/contract.h"
#include "cli/terminal/progress.h"
#include "cli/text/table.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

const Json& member(const Json& json, std::string_view key)
{
    static const Json none;
    const Json* const found = json.find(key);
    return found == nullptr ? none : *found;
}

// The chip's, where it is modelled and the work with it was begun.
std::string format_time(const Outcome& outcome)
{
    const Json& error = member(outcome.json, "error");
    const Json& told = error.find("code") == nullptr ? outcome.json : error;
    const std::chrono::duration<double> modelled{member(told, "modelled_seconds").number()};
    return modelled.count() == 0 ? fmt::format("{:.1f} s", outcome.seconds)
                                 : format_seconds(std::chrono::duration_cast<Clock::Duration>(modelled));
}

} // namespace

void set_failure(Outcome& outcome, Json error)
{
    error["probe"] = outcome.serial; // a command that failed early knows of none
    outcome.code = static_cast<ExitCode>(static_cast<int>(member(error, "code").number()));
    outcome.message = member(error, "message").text();
    outcome.hint = member(error, "hint").text();
    outcome.is_half_written = member(error, "half_written").is_true();
    outcome.json = {{"probe", outcome.serial}, {"error", std::move(error)}};
}

void set_failure(Outcome& outcome, const Failure& failure)
{
    set_failure(outcome, error_json({}, failure));
}

std::string describe(const Outcome& outcome)
{
    const char* const state = outcome.is_half_written ? ", half written" : "";
    switch (outcome.code) {
    case ExitCode::done:
        return "done";
    case ExitCode::interrupted:
        return fmt::format("interrupted{}", outcome.was_begun ? state : ", not begun");
    default:
        break;
    }
    if (outcome.code == ExitCode::failure) { // which has no name of its own
        return fmt::format("failed (exit code 1){}", state);
    }
    std::string name{exit_code_name(outcome.code)};
    std::ranges::replace(name, '_', ' ');
    return fmt::format("failed: {} (exit code {}){}", name, static_cast<int>(outcome.code), state);
}

std::string summary_table(const std::vector<Outcome>& outcomes)
{
    std::vector<std::vector<std::string>> rows{{"PROBE", "RESULT", "TIME", "WHAT TO DO"}};
    for (const Outcome& outcome : outcomes) {
        rows.push_back({std::to_string(outcome.serial), describe(outcome), format_time(outcome), outcome.hint});
    }
    return format_table(rows);
}

ExitCode exit_code_of(const std::vector<Outcome>& outcomes)
{
    if (std::ranges::any_of(outcomes, [](const Outcome& each) { return each.code == ExitCode::interrupted; })) {
        return ExitCode::interrupted;
    }
    const bool all_done =
        std::ranges::all_of(outcomes, [](const Outcome& each) { return each.code == ExitCode::done; });
    return all_done ? ExitCode::done : ExitCode::some_failed;
}

} // namespace tessit::cli
