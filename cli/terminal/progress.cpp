#include "cli/terminal/progress.h"

#include "cli/platform/platform.h"
#include "cli/terminal/stream.h"
#include "cli/text/numbers.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {

Progress::Progress(const Narration& narration, std::string phase, std::uint64_t total, std::string unit)
    : narration_{narration},
      phase_{std::move(phase)},
      unit_{std::move(unit)},
      total_{total},
      start_{narration.clock.now()}
{
    draw();
}

Progress::~Progress()
{
    if (!is_finished_ && narration_.console.draws_bars() && total_ != 0) {
        print_to(stderr, "\n");
    }
}

void Progress::advance(std::uint64_t amount)
{
    done_ = std::min(total_, done_ + amount);
    draw();
}

void Progress::finish()
{
    if (is_finished_ || total_ == 0) {
        return;
    }
    is_finished_ = true;
    const auto elapsed = narration_.clock.now() - start_;
    if (narration_.console.draws_bars()) {
        draw();
        print_to(stderr, "  {}\n", format_seconds(elapsed));
    } else if (done_ != 0) {
        print_to(stderr, "{:<8} {} in {}\n", phase_, format_count(done_, unit_), format_seconds(elapsed));
    }
}

void Progress::draw() const
{
    constexpr std::size_t time_columns = 11; // what finish adds, and the cursor
    if (!narration_.console.draws_bars() || total_ == 0) {
        return;
    }
    const std::size_t width = platform::terminal_width(stderr);
    print_to(stderr, "\r{}",
             format_progress(phase_, done_, total_, unit_, width > time_columns ? width - time_columns : 0));
    std::fflush(stderr);
}

std::string format_progress(const std::string& phase, std::uint64_t done, std::uint64_t total, const std::string& unit,
                            std::size_t columns)
{
    constexpr std::size_t longest_bar = 30;
    constexpr std::size_t shortest_bar = 5;
    const std::string begin = fmt::format("{:<8} ", phase);
    const std::string end = fmt::format("{:3}%  {}", 100 * done / total, format_count(done, unit));
    const std::size_t used = begin.size() + std::size("[] ") - 1 + end.size();
    const std::size_t width = columns > used ? std::min(columns - used, longest_bar) : 0;
    if (width < shortest_bar) {
        return (begin + end).substr(0, columns);
    }
    const auto filled = static_cast<std::size_t>(width * done / total);
    return fmt::format("{}[{:#<{}}{:.<{}}] {}", begin, "", filled, "", width - filled, end);
}

std::string format_seconds(Clock::Duration duration)
{
    return fmt::format("{:.2f} s", std::chrono::duration<double>{duration}.count());
}

} // namespace tessit::cli
