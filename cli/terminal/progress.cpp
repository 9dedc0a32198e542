#include "cli/terminal/progress.h"

#include "cli/platform/platform.h"
#include "cli/terminal/stream.h"
#include "cli/text/numbers.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {

Progress::Progress(const Narration& narration, std::string phase, std::uint64_t total, std::string unit)
    : narration_{narration}, phase_{std::move(phase), 0, total, std::move(unit)}, start_{narration.clock.now()}
{
    draw();
}

Progress::~Progress()
{
    if (phase_.total == 0) {
        return;
    }
    if (!is_finished_ && narration_.console.draws_bars()) {
        print_to(stderr, "\n");
    }
    narration_.console.at_phase(phase_);
}

void Progress::advance(std::uint64_t amount)
{
    phase_.done = std::min(phase_.total, phase_.done + amount);
    draw();
}

void Progress::finish()
{
    if (is_finished_ || phase_.total == 0) {
        return;
    }
    is_finished_ = true;
    const auto elapsed = narration_.clock.now() - start_;
    if (narration_.console.tells_events()) {
        tell(true);
    } else if (narration_.console.draws_bars()) {
        draw();
        print_to(stderr, "  {}\n", format_seconds(elapsed));
    } else if (phase_.done != 0 && !narration_.console.is_quiet()) {
        print_to(stderr, "{}\n", format_finished(phase_, elapsed));
    }
}

void Progress::draw() const
{
    constexpr std::size_t time_columns = 12; // what finish adds, and the cursor
    if (phase_.total == 0) {
        return;
    }
    if (narration_.console.tells_events()) {
        tell(false);
    } else if (narration_.console.draws_bars()) {
        const std::size_t width = platform::terminal_width(stderr);
        print_to(stderr, "\r{}", format_progress(phase_, width > time_columns ? width - time_columns : 0));
        std::fflush(stderr);
    }
}

void Progress::tell(bool is_finished) const
{
    const std::chrono::duration<double> elapsed = narration_.clock.now() - start_;
    Json json = to_json(phase_);
    json.append({{"finished", is_finished}, {"seconds", elapsed.count()}});
    narration_.console.tell("progress", std::move(json));
}

std::string format_progress(const Phase& phase, std::size_t columns)
{
    constexpr std::size_t longest_bar = 30;
    constexpr std::size_t shortest_bar = 5;
    const std::string begin = fmt::format("{:<8} ", phase.name);
    const std::string end =
        fmt::format("{:3}%  {}", 100 * phase.done / phase.total, format_count(phase.done, phase.unit));
    const std::size_t used = begin.size() + std::size("[] ") - 1 + end.size();
    const std::size_t width = columns > used ? std::min(columns - used, longest_bar) : 0;
    if (width < shortest_bar) {
        return (begin + end).substr(0, columns);
    }
    const auto filled = static_cast<std::size_t>(width * phase.done / phase.total);
    return fmt::format("{}[{:#<{}}{:.<{}}] {}", begin, "", filled, "", width - filled, end);
}

std::string format_finished(const Phase& phase, Clock::Duration elapsed)
{
    const std::string what = fmt::format("{:<8} {}", phase.name, format_count(phase.done, phase.unit));
    // What was found out along with the phase before took no time of its own.
    return elapsed == Clock::Duration::zero() ? what : fmt::format("{} in {}", what, format_seconds(elapsed));
}

std::string format_seconds(Clock::Duration duration)
{
    constexpr double shortest_in_seconds = 0.1;
    const double seconds = std::chrono::duration<double>{duration}.count();
    return seconds >= shortest_in_seconds ? fmt::format("{:.2f} s", seconds) : fmt::format("{:.2f} ms", seconds * 1000);
}

} // namespace tessit::cli
