/// Runs a command's work on the probe, or on the probes, that the user chose.
#pragma once

#include "cli/commands/command.h"
#include "cli/line/run.h"
#include "cli/session/target.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

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

/// What a command wants besides when it may work on several probes.
struct LineOptions
{
    std::string consequence;    ///< asked once for all of them before any is begun; empty: there is nothing to ask
    bool shows_reports = false; ///< the text of each is shown at the end
    /// Arguments for one board more than for all. Called for every board before any is begun.
    std::function<std::vector<std::string>(std::uint32_t serial)> more_words;
    BoardEnded ended; ///< of a single probe, too; may be empty
};

/// Whether several probes could be meant, however many there are: the shape of the result goes by it.
bool names_several(const Settings& settings);

/// On the chosen probe, or, where the user names several or all, on all of them at the same time, by a process of this
/// same command for each. Then a summary ends the output, and the exit code is some_failed unless all succeeded.
ExitCode run_on_probes(const Invocation& invocation, const ProbeWork& work, const LineOptions& options = {});

/// Throws a Failure where several probes would write one file.
void require_own_files(const Settings& settings, const char* option, const std::string& file);

} // namespace tessit::cli
