/// Which of the attached probes a command works on.
#pragma once

#include "cli/failure.h"
#include "cli/options/settings.h"

#include <cstdint>
#include <vector>

namespace tessit::cli {

/// With the hint that fits a simulated bench, or real probes.
Failure no_probe_attached(const Settings& settings);

/// The probes that --probe or --all-probes select, in the order of the flags; the only one when none is named. Throws a
/// Failure with ExitCode::no_probe, which lists what is attached.
std::vector<std::uint32_t> choose_probes(const Settings& settings, const std::vector<std::uint32_t>& attached);

/// Whether all of them are there that --probe names, or at least one where none is named.
bool are_attached(const Settings& settings, const std::vector<std::uint32_t>& attached);

} // namespace tessit::cli
