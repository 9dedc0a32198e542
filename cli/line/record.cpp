#include "cli/line/record.h"

#include "cli/platform/platform.h"
#include "cli/terminal/contract.h"
#include "cli/time/wall_time.h"

#include <cstring>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

const Json& details_of(const Outcome& outcome)
{
    const Json* const error = outcome.json.find("error");
    return error == nullptr ? outcome.json : *error;
}

} // namespace

void Record::require_writable() const
{
    if (const int error = platform::append_line(file_, ""); error != 0) {
        throw Failure{ExitCode::failure,
                      fmt::format("cannot record in {}: {}; nothing was begun", file_.string(), std::strerror(error)),
                      "Give --record another file."};
    }
}

void Record::append(const Outcome& outcome, const UnitValues& values) const
{
    const Json* const device = details_of(outcome).find("device_id");
    Course course;
    course.command = "program";
    course.probe = outcome.serial;
    const Json line = result_json(course, {{"time", universal_time()},
                                           {"device_id", device == nullptr ? Json() : *device},
                                           {"image_sha256", image_sha256_},
                                           {"values", to_json(values)},
                                           {"result", exit_code_name(outcome.code)},
                                           {"message", outcome.code == ExitCode::done ? Json() : Json(outcome.message)},
                                           {"half_written", outcome.is_half_written},
                                           {"seconds", outcome.seconds}});
    if (const int error = platform::append_line(file_, line.dump_line() + "\n"); error != 0) {
        throw Failure{
            ExitCode::failure,
            fmt::format("the board is {}, but that cannot be recorded in {}: {}", describe(outcome), file_.string(),
                        std::strerror(error)),
            "Make room or give --record another file, then run the command again; an equal chip is left alone."}
            .half_written(outcome.is_half_written);
    }
}

} // namespace tessit::cli
