#include "cli/terminal/contract.h"

#include <algorithm>
#include <array>

namespace tessit::cli {
namespace {

constexpr int schema = 1; // goes up when a member changes its meaning or goes away; new members may come

struct Name
{
    ExitCode code;
    std::string_view text;
};

constexpr std::array names{
    Name{ExitCode::done, "done"},
    Name{ExitCode::failure, "failure"},
    Name{ExitCode::usage, "usage"},
    Name{ExitCode::no_probe, "no_probe"},
    Name{ExitCode::no_target, "no_target"},
    Name{ExitCode::is_protected, "protected"},
    Name{ExitCode::verify_mismatch, "verify_mismatch"},
    Name{ExitCode::some_failed, "some_failed"},
    Name{ExitCode::probe_in_use, "probe_in_use"},
    Name{ExitCode::verdict, "verdict"},
    Name{ExitCode::interrupted, "interrupted"},
};

Json probe_of(const Course& course)
{
    return course.probe ? Json(*course.probe) : Json();
}

} // namespace

Json to_json(const Phase& phase)
{
    return {{"phase", phase.name}, {"done", phase.done}, {"total", phase.total}, {"unit", phase.unit}};
}

Json result_json(const Course& course, Json body)
{
    Json json{{"tessit", TESSIT_VERSION},
              {"schema", schema},
              {"command", course.command.empty() ? Json() : Json(course.command)},
              {"probe", probe_of(course)}};
    json.append(std::move(body));
    return json;
}

Json error_json(const Course& course, const Failure& failure)
{
    Json done = Json::list();
    for (const Phase& phase : course.phases) {
        done.push_back(to_json(phase));
    }
    Json json{{"code", static_cast<int>(failure.code())},
              {"name", failure.is_firmware_exit() ? "firmware_exit" : exit_code_name(failure.code())},
              {"message", failure.what()},
              {"hint", failure.hint()},
              {"probe", probe_of(course)},
              {"done", std::move(done)},
              {"half_written", failure.is_half_written()}};
    if (!course.device_id.empty()) {
        json["device_id"] = course.device_id;
    }
    if (failure.details() != nullptr) {
        json.append(*failure.details());
    }
    return json;
}

Json event_json(const Course& course, std::string_view event, Json body)
{
    Json json{{"event", event}, {"probe", probe_of(course)}};
    json.append(std::move(body));
    return json;
}

std::string_view exit_code_name(ExitCode code)
{
    const auto* const found = std::ranges::find(names, code, &Name::code);
    return found == names.end() ? "failure" : found->text;
}

} // namespace tessit::cli
