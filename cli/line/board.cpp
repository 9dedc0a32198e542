#include "cli/line/board.h"

#include "cli/platform/platform.h"
#include "cli/terminal/contract.h"

#include <fmt/format.h>
#include <utility>

namespace tessit::cli {
namespace {

constexpr int signalled = 128; // what lies above is the signal that ended a process
constexpr int not_begun = 130; // without a word: Ctrl-C ended it before it had a probe to let go of

constexpr int not_run = 127;

std::string describe_end(int exit_code)
{
    if (exit_code < 0) { // Windows' number for a crash
        return fmt::format("it ended with 0x{:08X}", static_cast<std::uint32_t>(exit_code));
    }
    return exit_code > signalled ? fmt::format("signal {} ended it", exit_code - signalled)
                                 : fmt::format("it ended with exit code {}", exit_code);
}

Failure lost_process(int exit_code)
{
    if (exit_code == not_begun) {
        return {ExitCode::interrupted, "interrupted: this probe was not begun"};
    }
    return Failure{ExitCode::failure,
                   fmt::format("the process for this probe gave no result: {}", describe_end(exit_code)),
                   "Run the command again with this probe alone and with -v."}
        .half_written(exit_code != not_run);
}

} // namespace

Board::Board(std::uint32_t serial, std::vector<std::string> words) : serial_{serial}, words_{std::move(words)}
{
    outcome_.serial = serial;
}

void Board::begin()
{
    has_begun_ = true;
    begin_ = std::chrono::steady_clock::now();
    process_ = std::make_unique<platform::Process>(platform::executable(), words_);
}

void Board::interrupt() const
{
    if (process_) {
        process_->interrupt();
    }
}

bool Board::listen(const Listener& listener)
{
    output_ += process_->take_output();
    errors_ += process_->take_errors();
    for (std::size_t end = errors_.find('\n'); end != std::string::npos; end = errors_.find('\n')) {
        const std::string line = errors_.substr(0, end);
        errors_.erase(0, end + 1);
        take_line(line, listener);
    }
    if (!process_->has_ended()) {
        return false;
    }
    if (!errors_.empty()) {
        take_line(std::exchange(errors_, {}), listener);
    }
    conclude();
    return true;
}

void Board::take_line(const std::string& line, const Listener& listener)
{
    std::optional<Json> event = Json::parse(line);
    if (!event || event->find("event") == nullptr) {
        Course course;
        course.probe = serial_;
        event = event_json(course, "note", {{"text", line}});
    }
    const std::string kind = event->find("event")->text();
    if (const Json* const error = event->find("error"); kind == "error" && error != nullptr) {
        error_ = *error;
    }
    if (const Json* const text = event->find("text"); kind == "result" && text != nullptr) {
        outcome_.report = text->text();
    }
    listener(event->dump_line(), *event);
}

void Board::conclude()
{
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin_;
    outcome_.seconds = elapsed.count();
    std::optional<Json> result = Json::parse(output_);
    const Json* const error = result ? result->find("error") : nullptr;
    if (error != nullptr) {
        set_failure(outcome_, *error);
    } else if (!result || process_->exit_code() != 0) {
        outcome_.was_begun = error_.find("code") != nullptr || process_->exit_code() != not_begun;
        set_failure(outcome_, error_without_result());
    } else {
        for (const char* const of_all : {"tessit", "schema", "command"}) {
            result->erase(of_all);
        }
        outcome_.json = *std::move(result);
    }
    process_.reset();
}

// What went wrong after the result was given, or kept it from being given.
Json Board::error_without_result() const
{
    return error_.find("code") != nullptr ? error_ : error_json({}, lost_process(process_->exit_code()));
}

void Board::give_up(const Failure& failure)
{
    has_begun_ = true;
    outcome_.was_begun = false;
    set_failure(outcome_, failure);
}

} // namespace tessit::cli
