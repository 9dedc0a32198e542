#include "cli/terminal/progress.h"

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
    constexpr std::uint64_t width = 30;
    if (!narration_.console.draws_bars() || total_ == 0) {
        return;
    }
    const std::uint64_t filled = width * done_ / total_;
    print_to(stderr, "\r{:<8} [{:#<{}}{:.<{}}] {:3}%  {} {}", phase_, "", filled, "", width - filled,
             100 * done_ / total_, done_, unit_);
    std::fflush(stderr);
}

std::string format_seconds(Clock::Duration duration)
{
    return fmt::format("{:.2f} s", std::chrono::duration<double>{duration}.count());
}

} // namespace tessit::cli
