/// What the user sees: results on standard output; notes, prompts, progress and errors on standard error.
#pragma once

#include "cli/failure.h"
#include "cli/text/json.h"

#include <string>
#include <string_view>

namespace tessit::cli {

class Console
{
public:
    struct Options
    {
        bool json = false;
        bool narrated = false; ///< the library's lines go to standard error, so that bars would be torn
        bool yes = false;
    };

    Console() = default;
    explicit Console(const Options& options);

    /// The result of a command: the JSON with --json, the text otherwise.
    void show(std::string_view text, const Json& json) const;
    bool is_json() const { return options_.json; }

    /// A line beside the result.
    void note(std::string_view line) const;
    void report(const Failure& failure) const;
    static Json to_json(const Failure& failure);
    /// As report, for one probe of several: no JSON, which the summary holds.
    void report_line(const Failure& failure) const;

    /// Asks on the terminal and throws a Failure unless the answer is yes or --yes was given. `consequence` says what
    /// will be lost.
    void confirm(std::string_view consequence) const;

    /// Whether bars may be drawn on standard error, and whether texts there may be coloured.
    bool draws_bars() const { return draws_bars_; }
    bool has_colours() const { return has_colours_; }

private:
    Options options_;
    bool draws_bars_ = false;
    bool has_colours_ = false;
};

/// At a safe point of a longer work: throws when Ctrl-C was pressed. `state` says in what state things are left.
void stop_if_interrupted(std::string_view state = {});

} // namespace tessit::cli
