/// Runs a command's work on the probe, or on the probes, that the user chose.
#pragma once

#include "cli/commands/command.h"
#include "cli/session/target.h"

#include <functional>

namespace tessit::cli {

/// What a command has found out or done, in both forms.
struct Report
{
    std::string text;
    Json json;
};

using ProbeWork = std::function<Report(Target&)>;

/// On exactly one probe; naming several is a usage error. The session is closed in every case.
ExitCode run_on_probe(const Invocation& invocation, const ProbeWork& work);

/// On every chosen probe, one after the other; a failure on one does not keep the others from their turn, and Ctrl-C
/// does not lose the results of those that are done. Where the user names several, or all, a summary ends the output,
/// and the exit code is some_failed unless all succeeded.
ExitCode run_on_probes(const Invocation& invocation, const ProbeWork& work);

} // namespace tessit::cli
