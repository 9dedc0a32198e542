#include "cli/session/folded_lines.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr std::size_t longest_period = 16; // lines of a poll

} // namespace

void FoldedLines::add(std::string_view line)
{
    if (!write_ || repeats(line)) {
        return;
    }
    finish();
    write_(serial_, line);
    last_.emplace_back(line);
    if (last_.size() > 2 * longest_period) {
        last_.pop_front();
    }
    if (folds_) {
        find_repetition();
    }
}

bool FoldedLines::repeats(std::string_view line)
{
    if (period_ == 0 || line != last_[last_.size() - period_ + repeated_lines_ % period_]) {
        return false;
    }
    ++repeated_lines_;
    return true;
}

// The second time is written; what follows it is counted.
void FoldedLines::find_repetition()
{
    for (std::size_t period = 1; 2 * period <= last_.size(); ++period) {
        const auto middle = last_.end() - static_cast<std::ptrdiff_t>(period);
        if (std::equal(middle, last_.end(), middle - static_cast<std::ptrdiff_t>(period))) {
            period_ = period;
            return;
        }
    }
}

void FoldedLines::finish()
{
    if (repeated_lines_ != 0) {
        write_(serial_,
               fmt::format("... the last {} again, {} in all", period_ == 1 ? "line" : fmt::format("{} lines", period_),
                           repeated_lines_ == 1 ? "1 line" : fmt::format("{} lines", repeated_lines_)));
        last_.clear();
    }
    period_ = 0;
    repeated_lines_ = 0;
}

std::string stamped(const std::string& time, std::uint32_t serial, std::string_view line)
{
    return fmt::format("{} {} {}\n", time, serial == 0 ? "-" : std::to_string(serial), line);
}

} // namespace tessit::cli
