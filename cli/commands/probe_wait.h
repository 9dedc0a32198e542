/// `--wait`: time for a probe to be plugged in, for another program to let go of it, for its board to get power.
#pragma once

#include "cli/options/settings.h"
#include "cli/session/session.h"
#include "cli/terminal/console.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tessit::cli {

/// The host's clock counts, with the simulation, too: what is waited for happens out there.
class ProbeWait
{
public:
    ProbeWait(const Settings& settings, const Console& console);

    /// The probes that the settings choose, as soon as all of them are attached.
    std::vector<std::uint32_t> choose(const Session& session);
    /// Again and again, as long as it fails for a reason that may pass.
    void until_done(const std::function<void()>& attempt);

private:
    bool has_time() const { return std::chrono::steady_clock::now() < end_; }
    void pause(const std::string& reason);

    const Settings& settings_;
    const Console& console_;
    std::chrono::steady_clock::time_point end_;
    std::string told_; ///< the reason that the user knows of
};

} // namespace tessit::cli
