#include "cli/line/run.h"

#include "cli/line/view.h"
#include "cli/platform/platform.h"

#include <algorithm>
#include <iterator>

namespace tessit::cli {
namespace {

constexpr std::chrono::milliseconds longest_wait{100}; // until Ctrl-C is heard that came just before a wait

class Line
{
public:
    Line(std::span<Board> boards, const LineSettings& settings, const Console& console)
        : boards_{boards}, settings_{settings}, view_{make_view(console, boards)}
    {
    }

    void run()
    {
        const platform::InterruptDeferral deferral{
            platform::InterruptDeferral::Wait::goes_on}; // a wait ends all the same
        while (begin_boards()) {
            platform::Process::wait_for_any(processes(), longest_wait);
            listen();
            if (platform::is_interrupted() && !was_interrupted_) {
                interrupt();
            }
            view_->refresh();
        }
        view_->finish();
    }

private:
    // False when there is nothing left to wait for.
    bool begin_boards()
    {
        auto running = static_cast<std::size_t>(std::ranges::count_if(boards_, &Board::is_running));
        for (Board& board : boards_) {
            if (!board.has_begun() && running < settings_.jobs && begin(board)) {
                ++running;
            }
        }
        return running != 0;
    }

    bool begin(Board& board)
    {
        try {
            stop_if_interrupted("this probe was not begun");
            board.begin();
            return true;
        } catch (const Failure& failure) {
            board.give_up(failure);
            end(board);
            return false;
        }
    }

    std::vector<platform::Process*> processes() const
    {
        std::vector<platform::Process*> processes;
        for (const Board& board : boards_) {
            if (board.is_running()) {
                processes.push_back(&board.process());
            }
        }
        return processes;
    }

    void listen()
    {
        for (Board& board : boards_) {
            const auto tell = [this, &board](const std::string& line, const Json& event) {
                view_->tell(board, line, event);
            };
            if (board.is_running() && board.listen(tell)) {
                end(board);
            }
        }
    }

    void end(Board& board)
    {
        const Outcome& outcome = board.outcome();
        const std::string report = settings_.tells_reports ? outcome.report.substr(0, outcome.report.find('\n')) : "";
        try {
            if (settings_.ended) {
                settings_.ended(outcome);
            }
        } catch (const Failure& failure) {
            set_failure(board.outcome(), failure);
        }
        view_->end(board, report);
    }

    void interrupt()
    {
        was_interrupted_ = true;
        std::ranges::for_each(boards_, &Board::interrupt);
    }

    std::span<Board> boards_;
    const LineSettings& settings_;
    std::unique_ptr<View> view_;
    bool was_interrupted_ = false;
};

} // namespace

void run_boards(std::span<Board> boards, const LineSettings& settings, const Console& console)
{
    Line{boards, settings, console}.run();
}

} // namespace tessit::cli
