/// How the work on a board ended.
#pragma once

#include "cli/failure.h"
#include "cli/text/json.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tessit::cli {

struct Outcome
{
    std::uint32_t serial = 0;
    ExitCode code = ExitCode::done;
    std::string report; ///< the result in words
    Json json;          ///< the result or the failure, each with the probe
    double seconds = 0; ///< by the host's clock
    // Of a failure:
    std::string message;
    std::string hint;
    bool is_half_written = false;
    bool was_begun = true;
};

/// Makes a failure of an outcome; `error` is the failure as JSON.
void set_failure(Outcome& outcome, Json error);
void set_failure(Outcome& outcome, const Failure& failure);

/// "failed: no target (exit code 4), half written"
std::string describe(const Outcome& outcome);

/// A line a board: its serial, how it ended, how long it took and what to do.
std::string summary_table(const std::vector<Outcome>& outcomes);

/// Of a command that worked on all of them.
ExitCode exit_code_of(const std::vector<Outcome>& outcomes);

} // namespace tessit::cli
