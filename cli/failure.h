/// How the command ends: its exit codes, and the one exception by which a failure travels up to main().
#pragma once

#include <stdexcept>
#include <string>

namespace tessit::cli {

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

private:
    ExitCode code_;
    std::string hint_;
};

} // namespace tessit::cli
