#include "cli/line/view.h"

#include "cli/line/block_view.h"
#include "cli/terminal/progress.h"
#include "cli/terminal/stream.h"

#include <sstream>

namespace tessit::cli {

Phase phase_of(const Json& event)
{
    const auto number = [&event](const char* key) {
        const Json* const value = event.find(key);
        return value == nullptr ? 0 : static_cast<std::uint64_t>(value->number());
    };
    const auto text = [&event](const char* key) {
        const Json* const value = event.find(key);
        return value == nullptr ? std::string{} : value->text();
    };
    return {text("phase"), number("done"), number("total"), text("unit")};
}

void tell_failure(const Console& console, const Outcome& outcome)
{
    if (outcome.code == ExitCode::done) {
        return;
    }
    const bool was_asked_for = outcome.code == ExitCode::interrupted;
    print_to(stderr, "{}  {}{}\n", outcome.serial, was_asked_for ? "" : console.error_label() + " ", outcome.message);
    if (!outcome.hint.empty()) {
        print_to(stderr, "{}  Hint: {}\n", outcome.serial, outcome.hint);
    }
}

namespace {

class EventsView : public View
{
public:
    void tell(const Board& /*board*/, const std::string& line, const Json& /*event*/) override
    {
        print_to(stderr, "{}\n", line);
    }
    void end(const Board& /*board*/, const std::string& /*report*/) override {}
};

class LinesView : public View
{
public:
    explicit LinesView(const Console& console) : console_{console} {}

    void tell(const Board& board, const std::string& /*line*/, const Json& event) override
    {
        const std::string kind = event.find("event")->text();
        if (kind == "progress") {
            const Phase phase = phase_of(event);
            if (event.find("finished") != nullptr && event.find("finished")->is_true() && phase.done != 0) {
                const std::chrono::duration<double> seconds{event.find("seconds")->number()};
                show(board, format_finished(phase, std::chrono::duration_cast<Clock::Duration>(seconds)));
            }
        } else if (const Json* const text = event.find("text"); text != nullptr && kind != "result") {
            show(board, text->text());
        }
    }

    void end(const Board& board, const std::string& report) override
    {
        tell_failure(console_, board.outcome());
        if (board.outcome().code == ExitCode::done) {
            show(board, report.empty() ? "done" : "done: " + report);
        }
    }

private:
    void show(const Board& board, const std::string& text) const
    {
        if (console_.is_quiet()) {
            return;
        }
        std::istringstream lines{text};
        for (std::string line; std::getline(lines, line);) {
            print_to(stderr, "{}  {}\n", board.serial(), line);
        }
    }

    const Console& console_;
};

} // namespace

std::unique_ptr<View> make_view(const Console& console, std::span<const Board> boards)
{
    if (console.tells_events()) {
        return std::make_unique<EventsView>();
    }
    if (console.draws_bars()) {
        return std::make_unique<BlockView>(console, boards);
    }
    return std::make_unique<LinesView>(console);
}

} // namespace tessit::cli
