/// The library with a J-Link library loaded, and a session with one probe at a time. Everything is closed with the
/// object.
#pragma once

#include "cli/failure.h"
#include "cli/options/settings.h"
#include "cli/platform/platform.h"
#include "cli/session/library_log.h"
#include "cli/time/clock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

class Console;

class Session
{
public:
    /// Loads the J-Link library; throws a Failure as everything here does.
    explicit Session(const Settings& settings);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    const Settings& settings() const { return settings_; }
    const std::string& jlink_path() const { return jlink_path_; }
    LibraryLog& log() { return log_; }
    const Clock& clock() const { return *clock_; }

    /// Serial numbers in the order in which the J-Link library lists them.
    std::vector<std::uint32_t> attached_probes() const;

    void connect(std::uint32_t serial);
    void disconnect();
    /// After a failure: lets go of the probe, however it is.
    void abandon();
    std::uint32_t serial() const { return serial_; }

    /// Whether the readback protection is on; the chip need not be connected.
    bool is_chip_protected() const;

    /// At the end of the work: closes everything, and gives the exit code of a command that would end with this one. A
    /// log that could not be written makes a failure of a success.
    ExitCode close(ExitCode code, const Console& console);

    /// Throws unless the result is RESULT_OK. `what` completes "cannot ..."; `jlink_hint` is what to do when it is the
    /// J-Link library that failed, instead of the general advice.
    void check(result_code_t result, std::string_view what, std::string_view jlink_hint = {}) const;

    /// "tessit --sim --probe 123 recover --yes": the words for this session's probe, ready to be typed.
    std::string command_line(std::string_view words) const;

private:
    bool has_lost_probe() const;
    std::string with_flags(std::string hint) const;
    std::string hint_for(result_code_t result, std::string_view jlink_hint, bool has_reason) const;

    const Settings& settings_;
    std::string jlink_path_;
    LibraryLog log_;
    std::unique_ptr<const Clock> clock_;
    std::uint32_t serial_ = 0; ///< of the probe that was connected last, 0 before that
    bool connected_ = false;
    std::optional<platform::InterruptDeferral> deferral_; ///< from the first probe on: it is to be released properly
};

} // namespace tessit::cli
