/// Runs the built command as a program of its own, as a user would.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tessit::cli {

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>; ///< added to the test's own

inline const std::string no_input = "/dev/null";

struct Outcome
{
    int exit_code = 0; ///< 128 + the signal for a command that a signal ended
    std::string output;
    std::string errors;

    friend void PrintTo(const Outcome& outcome, std::ostream* stream)
    {
        *stream << "exit code " << outcome.exit_code << "\n" << outcome.output << "\n" << outcome.errors;
    }
};

/// A running command, whose standard error is read only when the test asks for it: behind a small pipe it comes to a
/// standstill, so that it can be caught in the middle of its work.
class RunningCommand
{
public:
    /// `input` is the file that standard input reads.
    RunningCommand(const Arguments& arguments, const Environment& environment, const std::string& input = no_input);
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;
    ~RunningCommand();

    /// Reads standard error until the text has come `count` times; false when the stream ends before.
    bool wait_for(std::string_view text, int count = 1);
    void signal(int number) const;
    /// Waits for its end.
    Outcome finish();

private:
    static bool read_some(int descriptor, std::string& text);

    pid_t process_ = -1;
    int output_; ///< a file in memory
    int errors_ = -1;
    Outcome outcome_;
};

Outcome run_command(const Arguments& arguments, const Environment& environment, const std::string& input = no_input);

} // namespace tessit::cli
