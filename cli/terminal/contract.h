/// What is the same in all JSON that the command prints. docs/json.md describes it, docs/json/ holds its schemas.
#pragma once

#include "cli/failure.h"
#include "cli/text/json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

/// Part of a longer work, of which `done` units were done.
struct Phase
{
    std::string name; ///< "write"
    std::uint64_t done = 0;
    std::uint64_t total = 0;
    std::string unit; ///< "bytes"
};

Json to_json(const Phase& phase);

/// Where the command is, for whoever tells of it.
struct Course
{
    std::string command;                ///< "qspi write"; empty as long as it is not known
    std::optional<std::uint32_t> probe; ///< the one that it works on
    std::string device_id;              ///< of the chip, where it was asked for it
    std::vector<Phase> phases;          ///< that were begun
};

/// What every result begins with, and then its own members; they may name another probe.
Json result_json(const Course& course, Json body);

/// The member "error" of a result.
Json error_json(const Course& course, const Failure& failure);

/// A line of `--progress json`.
Json event_json(const Course& course, std::string_view event, Json body);

/// "no_probe"
std::string_view exit_code_name(ExitCode code);

} // namespace tessit::cli
