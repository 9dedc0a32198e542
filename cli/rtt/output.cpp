#include "cli/rtt/output.h"

#include "base/file.h"
#include "base/path.h"
#include "cli/failure.h"
#include "cli/text/base64.h"
#include "cli/text/json.h"
#include "cli/time/wall_time.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

// A line without an end is shown in pieces of this length.
constexpr std::size_t longest_line = 4096;

// Modelled time has no time of day: it is counted from the command's begin.
std::string time_since_begin(Clock::Duration now)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(now - second).count();
    return fmt::format("[{:%H:%M:%S}.{:03}] ", second, milliseconds);
}

std::size_t line_length(std::string_view bytes)
{
    const std::size_t end = bytes.find('\n');
    return end == std::string_view::npos ? bytes.size() : end + 1;
}

Failure file_failure(const std::string& file)
{
    return {ExitCode::failure, fmt::format("cannot write the output {}: {}", file, std::strerror(errno)),
            "Give --output another file."};
}

} // namespace

RttOutput::RttOutput(const Clock& clock, Options options)
    : clock_{clock}, options_{std::move(options)}, begin_{clock.now()}
{
    if (!options_.file.empty()) {
        file_.reset(base::open_file(base::path_of(options_.file), "wb"));
        if (!file_) {
            throw file_failure(options_.file);
        }
    }
}

RttOutput::~RttOutput()
{
    finish_lines();
    std::fflush(stdout); // asked for at the end of the command
}

void RttOutput::finish()
{
    finish_lines();
    flush();
}

void RttOutput::show_channels(const std::vector<ShownChannel>& channels)
{
    finish_lines();
    channels_.clear();
    for (const ShownChannel& channel : channels) {
        channels_.push_back({channel.index, channels.size() > 1 ? channel.name + ": " : "", {}, true});
    }
}

void RttOutput::finish_lines()
{
    for (Channel& channel : channels_) {
        if (!channel.unfinished.empty()) {
            write_line(channel, channel.unfinished);
            channel.unfinished.clear();
        }
    }
}

void RttOutput::take(std::size_t channel, std::string_view bytes)
{
    if (channels_.size() > 1 || options_.json) {
        take_lines(channels_[channel], bytes);
    } else {
        take_as_it_comes(channels_[channel], bytes);
    }
    flush();
}

void RttOutput::take_as_it_comes(Channel& channel, std::string_view bytes)
{
    if (!options_.timestamps) {
        write(bytes);
        return;
    }
    while (!bytes.empty()) {
        const std::string_view line = bytes.substr(0, line_length(bytes));
        if (channel.at_line_begin) {
            write(line_begin(channel));
        }
        write(line);
        channel.at_line_begin = line.ends_with('\n');
        bytes.remove_prefix(line.size());
    }
}

void RttOutput::take_lines(Channel& channel, std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::string_view part = bytes.substr(0, line_length(bytes));
        channel.unfinished += part;
        bytes.remove_prefix(part.size());
        if (part.ends_with('\n') || channel.unfinished.size() >= longest_line) {
            write_line(channel, channel.unfinished);
            channel.unfinished.clear();
        }
    }
}

void RttOutput::write_line(const Channel& channel, std::string_view line)
{
    if (!options_.json) {
        write(line_begin(channel) + std::string{line} + (line.ends_with('\n') ? "" : "\n"));
        return;
    }
    const std::chrono::duration<double> time = clock_.now() - begin_;
    Json json{{"time", time.count()}, {"channel", channel.index}};
    if (is_utf8(line)) {
        json["text"] = line;
    } else {
        json["base64"] = base64(line);
    }
    write(json.dump_line() + "\n");
}

std::string RttOutput::line_begin(const Channel& channel) const
{
    if (!options_.timestamps) {
        return channel.prefix;
    }
    return (clock_.is_modelled() ? time_since_begin(clock_.now()) : fmt::format("[{}] ", local_time_of_day())) +
           channel.prefix;
}

void RttOutput::write(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout); // NOLINT(cert-err33-c): the stream keeps its error
    if (file_) {
        std::fwrite(text.data(), 1, text.size(), file_.get()); // NOLINT(cert-err33-c)
    }
}

void RttOutput::flush()
{
    std::fflush(stdout); // NOLINT(cert-err33-c): is_closed asks
    if (file_ && (std::fflush(file_.get()) != 0 || std::ferror(file_.get()) != 0)) {
        throw file_failure(options_.file);
    }
}

bool RttOutput::is_closed()
{
    return std::ferror(stdout) != 0;
}

} // namespace tessit::cli
