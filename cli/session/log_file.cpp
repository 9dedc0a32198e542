#include "cli/session/log_file.h"

#include "base/file.h"
#include "cli/failure.h"
#include "cli/terminal/stream.h"
#include "cli/text/serial_mark.h"
#include "cli/time/wall_time.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace tessit::cli {
namespace {

constexpr std::size_t longest_period = 16; // lines of a poll

} // namespace

LogFile::LogFile(std::string name) : name_{std::move(name)}
{
    if (!name_.empty() && !has_serial_mark(name_)) {
        open();
    }
}

void LogFile::open()
{
    file_.reset(base::open_file(name_, "a"));
    if (!file_) {
        throw Failure{ExitCode::failure, fmt::format("cannot write the log {}: {}", name_, std::strerror(errno)),
                      "Give --log another file."};
    }
    print_to(file_.get(), "{}", std::exchange(waiting_, {}));
}

void LogFile::at_probe(std::uint32_t serial)
{
    serial_ = std::to_string(serial);
    if (name_.empty() || file_) {
        return;
    }
    name_ = with_serial(std::move(name_), serial);
    open();
}

void LogFile::write(const std::string& line)
{
    if (file_) {
        print_to(file_.get(), "{}", line);
    } else {
        waiting_ += line;
    }
}

void LogFile::add(std::string_view line)
{
    if (name_.empty() || repeats(line)) {
        return;
    }
    end_repetition();
    write(fmt::format("{} {} {}\n", local_time(), serial_, line));
    last_.emplace_back(line);
    if (last_.size() > 2 * longest_period) {
        last_.pop_front();
    }
    find_repetition();
}

bool LogFile::repeats(std::string_view line)
{
    if (period_ == 0 || line != last_[last_.size() - period_ + repeated_lines_ % period_]) {
        return false;
    }
    ++repeated_lines_;
    return true;
}

// The second time is written; what follows it is counted.
void LogFile::find_repetition()
{
    for (std::size_t period = 1; 2 * period <= last_.size(); ++period) {
        const auto middle = last_.end() - static_cast<std::ptrdiff_t>(period);
        if (std::equal(middle, last_.end(), middle - static_cast<std::ptrdiff_t>(period))) {
            period_ = period;
            return;
        }
    }
}

void LogFile::end_repetition()
{
    if (repeated_lines_ != 0) {
        write(fmt::format("{} {} ... the last {} again, {} in all\n", local_time(), serial_,
                          period_ == 1 ? "line" : fmt::format("{} lines", period_),
                          repeated_lines_ == 1 ? "1 line" : fmt::format("{} lines", repeated_lines_)));
        last_.clear();
    }
    period_ = 0;
    repeated_lines_ = 0;
}

std::string LogFile::finish()
{
    end_repetition();
    if (!file_) {
        return {};
    }
    const bool was_complete = std::ferror(file_.get()) == 0;
    const bool is_complete = std::fclose(file_.release()) == 0 && was_complete;
    return is_complete ? "" : fmt::format("the log {} is incomplete: {}", name_, std::strerror(errno));
}

} // namespace tessit::cli
