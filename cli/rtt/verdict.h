/// Whether the firmware has passed, by what it says and by how it ends.
#pragma once

#include "cli/failure.h"
#include "cli/rtt/cpu_watch.h"
#include "cli/rtt/watch.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

struct VerdictOptions
{
    std::vector<Words> until; ///< all of them have to come
    bool in_order = false;    ///< each behind the one before
    std::vector<Words> fail_on;
    std::optional<Words> exit_code_from; ///< a regular expression whose first group is the exit code
    bool is_test = false;                ///< firmware that has crashed when the time is over has not passed

    bool awaits_something() const { return !until.empty() || exit_code_from.has_value(); }
    bool judges() const { return is_test || awaits_something() || !fail_on.empty(); }
};

class Verdict
{
public:
    /// Refers to the options.
    Verdict(const VerdictOptions& options, std::size_t channels);

    /// `channel` is a position in the list of those that are shown.
    void take(std::size_t channel, std::string_view bytes);
    /// Nothing more comes for now.
    void settle();
    /// The words that came decide it.
    bool is_reached() const;

    /// Each of these ends it, and throws a Failure where the firmware has not passed: with ExitCode::verdict, or with
    /// the code that the firmware ended with.

    void end_by_words();
    void end_by_exit(const SemihostingExit& exit);
    /// `when` is "within 2.5 s".
    void end_by_time(const std::string& when);
    /// Of the input, or of whoever reads what is shown.
    void end_otherwise(const char* what);
    /// Adds to a failure of the firmware what is known of it by then.
    Failure complete(Failure failure) const;

    /// "ended_by", "until" and "firmware_exit_code", for the result.
    Json to_json() const;
    /// "the firmware passed: 'ready' came"; empty where nothing was to be judged.
    std::string summary() const;

private:
    struct Channel
    {
        std::vector<Watch> until; ///< in order: that of the next one alone
        std::vector<Watch> fail_on;
        std::optional<Watch> exit_code;
    };

    void take_until(Channel& channel, std::string_view bytes);
    void advance(Channel& channel, std::string behind);
    void note_exit_code(const Watch& watch);
    bool all_came() const;
    std::string missing() const;
    void judge_exit_code();
    Failure against(const std::string& message, const char* hint, std::optional<int> firmware_code = {}) const;
    Json to_json(const char* ended_by) const;

    const VerdictOptions& options_;
    std::vector<Channel> channels_;
    std::vector<bool> came_; ///< of options_.until
    std::optional<std::string> said_against_;
    std::optional<std::string> exit_text_; ///< what the firmware said of its exit code
    std::optional<std::int64_t> exit_code_;
    const char* ended_by_ = "none";
};

} // namespace tessit::cli
