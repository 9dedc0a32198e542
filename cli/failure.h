/// How the command ends: its exit codes, and the one exception by which a failure travels up to main().
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace tessit::cli {

class Json;

enum class ExitCode : int
{
    done = 0,
    failure = 1,
    usage = 2,           ///< the command line asks for something that makes no sense
    no_probe = 3,        ///< none attached, an unknown serial number, several and none named, or lost on the way
    no_target = 4,       ///< the chip does not answer, is not known, or lacks supply
    is_protected = 5,    ///< readback protection forbids it
    verify_mismatch = 6, ///< the chip holds something else than the file
    some_failed = 7,     ///< with several probes: some done, some failed
    probe_in_use = 8,    ///< another program holds the probe
    verdict = 9,         ///< the command did its work, and what it saw speaks against the firmware
    interrupted = 130,   ///< Ctrl-C
};

/// What failed and why, in one sentence without a full stop, and what to do next. The hint may be empty.
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, const std::string& message, std::string hint = {})
        : std::runtime_error{message}, code_{code}, hint_{std::move(hint)}
    {
    }

    ExitCode code() const noexcept { return code_; }
    const std::string& hint() const noexcept { return hint_; }

    /// The chip's memories are neither as they were nor as they were to be.
    bool is_half_written() const noexcept { return is_half_written_; }
    Failure half_written(bool is = true) const
    {
        Failure other{*this};
        other.is_half_written_ = is;
        return other;
    }

    /// The code is the one with which the firmware ended, whatever it means.
    bool is_firmware_exit() const noexcept { return is_firmware_exit_; }
    Failure& firmware_exit()
    {
        is_firmware_exit_ = true;
        return *this;
    }

    /// What else a script can go by: members of the error as JSON. May be null.
    const Json* details() const noexcept { return details_.get(); }
    Failure with(std::shared_ptr<const Json> details) const
    {
        Failure other{*this};
        other.details_ = std::move(details);
        return other;
    }

private:
    ExitCode code_;
    std::string hint_;
    bool is_half_written_ = false;
    bool is_firmware_exit_ = false;
    std::shared_ptr<const Json> details_; // a copy of an exception must not throw
};

} // namespace tessit::cli
