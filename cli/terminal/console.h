/// What the user sees: results on standard output; notes, prompts, progress and errors on standard error.
#pragma once

#include "cli/failure.h"
#include "cli/terminal/contract.h"
#include "cli/text/json.h"

#include <memory>
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
        bool events = false; ///< standard error holds JSON and nothing else, an event a line
        bool quiet = false;  ///< neither notes nor progress
    };

    Console() : Console{Options{}} {}
    explicit Console(const Options& options);

    /// The result of a command: the JSON with --json, the text otherwise. With events the text is one of them.
    void show(std::string_view text, Json json) const;
    bool is_json() const { return options_.json; }
    /// JSON from now on comes as lines: the command has more than one of them to say.
    void speak_in_lines() const { course_->in_lines = true; }

    /// A line beside the result, unless nobody wants to see any.
    void note(std::string_view line) const;
    /// One that belongs to a failure.
    void remark(std::string_view line) const;
    /// Whether progress is shown at all.
    bool is_quiet() const { return options_.quiet && !options_.events; }
    void report(const Failure& failure) const;
    /// As report, without JSON on standard output.
    void report_line(const Failure& failure) const;
    Json to_json(const Failure& failure) const { return error_json(*course_, failure); }

    /// Asks on the terminal and throws a Failure unless the answer is yes or --yes was given. `consequence` says what
    /// will be lost.
    void confirm(std::string_view consequence) const;

    /// Whether bars may be drawn on standard error, and whether texts there may be coloured.
    bool draws_bars() const { return draws_bars_; }
    bool has_colours() const { return has_colours_; }
    /// "Error:" as it is shown on standard error.
    std::string error_label() const;

    bool tells_events() const { return options_.events; }
    void tell(std::string_view event, Json body) const;

    /// Where the command is. All copies of a console know the same.
    void at_command(const std::string& command) const { course_->command = command; }
    void at_probe(std::uint32_t serial) const { course_->probe = serial; }
    void at_chip(const std::string& device_id) const { course_->device_id = device_id; }
    void at_phase(Phase phase) const { course_->phases.push_back(std::move(phase)); }

private:
    struct Course : cli::Course
    {
        bool in_lines = false;
    };

    Options options_;
    bool draws_bars_ = false;
    bool has_colours_ = false;
    std::shared_ptr<Course> course_ = std::make_shared<Course>();
};

/// What Ctrl-C ends with; `state` as below.
Failure interrupted(std::string_view state);

/// At a safe point of a longer work: throws when Ctrl-C was pressed. `state` says in what state things are left.
void stop_if_interrupted(std::string_view state = {});

} // namespace tessit::cli
