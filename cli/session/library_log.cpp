#include "cli/session/library_log.h"

#include "cli/terminal/stream.h"
#include "cli/time/wall_time.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

namespace tessit::cli {
namespace {

constexpr std::string_view jlink_mark = TESSIT_LOG_JLINK_MARK;
constexpr std::string_view separator = TESSIT_LOG_SEPARATOR;
constexpr std::string_view prefix = TESSIT_LOG_PREFIX "_";

// Messages that tell of progress, not of a failure.
constexpr std::array<std::string_view, 2> progress_messages{TESSIT_LOG_DEVICE_PROFILE, TESSIT_LOG_DEVICE_VERSION};

std::string_view without_line_end(std::string_view text)
{
    const std::size_t last = text.find_last_not_of(" \r\n.");
    return last == std::string_view::npos ? std::string_view{} : text.substr(0, last + 1);
}

} // namespace

LibraryLog* LibraryLog::active = nullptr;

LibraryLog::LibraryLog(FoldedLines shown, const std::string& file)
    : shown_{std::move(shown)}, file_{file}, written_{[this](std::uint32_t serial, std::string_view line) {
          file_.write(stamped(local_time(), serial, line));
      }}
{
    active = this;
}

LibraryLog::~LibraryLog()
{
    active = nullptr;
    if (const std::string problem = finish(); !problem.empty()) { // on the way of another failure
        print_to(stderr, "Warning: {}\n", problem);
    }
}

void LibraryLog::at_probe(std::uint32_t serial)
{
    shown_.at_probe(serial);
    file_.at_probe(serial);
    written_.at_probe(serial);
}

std::string LibraryLog::finish()
{
    shown_.finish();
    written_.finish();
    return file_.finish();
}

void LibraryLog::receive(const char* line)
{
    if (active != nullptr) {
        active->take(line);
    }
}

void LibraryLog::take(std::string_view line)
{
    const std::string_view text = line.substr(0, line.find_last_not_of("\r\n") + 1);
    shown_.add(text);
    written_.add(text);

    const std::size_t tag_end = line.find(separator);
    if (tag_end != std::string_view::npos) {
        take_message(line.substr(tag_end + separator.size()));
        return;
    }
    jlink_text_.clear();            // an operation begins; what the J-Link library said before belongs to others
    if (line.starts_with(prefix)) { // and so does everything else, since it is a call of ours
        complaint_.clear();
        jlink_reason_.clear();
    }
}

void LibraryLog::take_message(std::string_view message)
{
    if (message.starts_with(jlink_mark)) {
        jlink_text_ = without_line_end(message.substr(jlink_mark.size()));
        return;
    }
    const bool is_progress = std::ranges::any_of(
        progress_messages, [message](std::string_view progress) { return message.starts_with(progress); });
    if (!is_progress) {
        complaint_ = without_line_end(message);
        jlink_reason_ = std::exchange(jlink_text_, {});
    }
}

std::string LibraryLog::reason() const
{
    if (complaint_.empty() || jlink_reason_.empty()) {
        return complaint_;
    }
    return fmt::format("{} ({})", complaint_, jlink_reason_);
}

} // namespace tessit::cli
