#include "cli/line/block_view.h"

#include "cli/platform/platform.h"
#include "cli/terminal/progress.h"
#include "cli/terminal/stream.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr std::chrono::milliseconds drawing_pause{50}; // no eye needs more

// What the terminal understands.
constexpr const char* up = "\x1b[{}A";
constexpr const char* end_of_line = "\x1b[K\n";
constexpr const char* clear_below = "\x1b[J";

std::string first_line(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

std::size_t serial_columns(std::uint32_t serial)
{
    return std::to_string(serial).size() + 2;
}

bool is_shown_first(const Board& board)
{
    return board.is_running() || board.outcome().code != ExitCode::done;
}

} // namespace

std::string format_row(std::uint32_t serial, std::string_view text, std::size_t columns)
{
    return fmt::format("{}  {}", serial, text).substr(0, columns);
}

BlockView::BlockView(const Console& console, std::span<const Board> boards) : console_{console}, boards_{boards} {}

void BlockView::tell(const Board& board, const std::string& /*line*/, const Json& event)
{
    Row& row = rows_[board.serial()];
    const std::string kind = event.find("event")->text();
    if (kind == "progress") {
        row = {phase_of(event), {}};
    } else if (const Json* const text = event.find("text"); text != nullptr) {
        row.text = first_line(text->text());
    }
}

void BlockView::end(const Board& board, const std::string& report)
{
    const Outcome& outcome = board.outcome();
    const bool is_plain = outcome.code == ExitCode::interrupted; // there is no more to say
    const std::string what = outcome.code == ExitCode::done ? report : first_line(outcome.message);
    rows_[board.serial()].text =
        is_plain || what.empty() ? describe(outcome) : fmt::format("{}: {}", describe(outcome), what);
}

void BlockView::refresh()
{
    const auto now = std::chrono::steady_clock::now();
    if (now - last_drawn_ >= drawing_pause) {
        last_drawn_ = now;
        draw();
    }
}

void BlockView::finish()
{
    draw();
    for (const Board& board : boards_) {
        tell_failure(console_, board.outcome());
    }
}

std::string BlockView::line_of(const Board& board, std::size_t columns) const
{
    const auto found = rows_.find(board.serial());
    if (found == rows_.end()) {
        return format_row(board.serial(), board.is_running() ? "begins" : "waits", columns);
    }
    const Row& row = found->second;
    if (!row.text.empty() || row.phase.total == 0) {
        return format_row(board.serial(), row.text, columns);
    }
    const std::size_t left = columns - std::min(columns, serial_columns(board.serial()));
    return format_row(board.serial(), format_progress(row.phase, left), columns);
}

// Where not all boards fit, those that are done or wait are counted.
std::vector<std::string> BlockView::lines_that_fit(std::size_t columns, std::size_t most) const
{
    const bool all_fit = boards_.size() <= most;
    std::vector<std::string> lines;
    for (const Board& board : boards_) {
        if (all_fit || (is_shown_first(board) && lines.size() + 1 < most)) {
            lines.push_back(line_of(board, columns));
        }
    }
    if (!all_fit) {
        const auto done = std::ranges::count_if(boards_, [](const Board& board) {
            return board.has_begun() && !board.is_running() && board.outcome().code == ExitCode::done;
        });
        lines.push_back(fmt::format("{} of {} boards are done", done, boards_.size()).substr(0, columns));
    }
    return lines;
}

void BlockView::draw()
{
    const std::size_t columns = platform::terminal_width(stderr) - 1; // the last one would wrap
    const std::size_t most = std::max<std::size_t>(platform::terminal_height(stderr), 3) - 1;
    std::vector<std::string> lines = lines_that_fit(columns, most);
    if (lines == drawn_) {
        return;
    }
    std::string block = drawn_.empty() ? "\r" : "\r" + fmt::format(fmt::runtime(up), drawn_.size());
    for (const std::string& line : lines) {
        block += line + end_of_line;
    }
    print_to(stderr, "{}{}", block, clear_below);
    std::fflush(stderr);
    drawn_ = std::move(lines);
}

} // namespace tessit::cli
