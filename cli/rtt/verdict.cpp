#include "cli/rtt/verdict.h"

#include "cli/text/lists.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

constexpr std::int64_t highest_exit_code = 255; // what a process can end with

std::string quoted(const Words& words)
{
    return fmt::format("'{}'", words.text());
}

} // namespace

Verdict::Verdict(const VerdictOptions& options, std::size_t channels) : options_{options}, came_(options.until.size())
{
    Channel channel;
    for (const Words& words : options.until) {
        if (!options.in_order || channel.until.empty()) {
            channel.until.emplace_back(words);
        }
    }
    for (const Words& words : options.fail_on) {
        channel.fail_on.emplace_back(words);
    }
    if (options.exit_code_from) {
        channel.exit_code.emplace(*options.exit_code_from);
    }
    channels_.assign(channels, channel);
}

void Verdict::take(std::size_t channel, std::string_view bytes)
{
    Channel& from = channels_[channel];
    for (std::size_t i = 0; i < from.fail_on.size(); ++i) {
        if (from.fail_on[i].take(bytes) && !said_against_) {
            said_against_ = options_.fail_on[i].text();
        }
    }
    if (from.exit_code && !exit_text_ && from.exit_code->take(bytes)) {
        note_exit_code(*from.exit_code);
    }
    take_until(from, bytes);
}

void Verdict::take_until(Channel& channel, std::string_view bytes)
{
    if (!options_.in_order) {
        for (std::size_t i = 0; i < came_.size(); ++i) {
            came_[i] = came_[i] || channel.until[i].take(bytes);
        }
    } else if (!all_came()) {
        if (std::optional<std::string> behind = channel.until.front().take(bytes)) {
            advance(channel, *std::move(behind));
        }
    }
}

// The next of the words in order are looked for behind these, in what has come already, too.
void Verdict::advance(Channel& channel, std::string behind)
{
    std::optional<std::string> rest = std::move(behind);
    while (rest) {
        const auto next = std::ranges::find(came_, false);
        *next = true;
        if (all_came()) {
            return;
        }
        const std::size_t index = static_cast<std::size_t>(next - came_.begin());
        const bool begins_line = options_.until[index].text().ends_with('\n');
        for (Channel& each : channels_) {
            each.until.front() = Watch{options_.until[index + 1], &each != &channel || begins_line};
        }
        rest = channel.until.front().take(*rest);
    }
}

void Verdict::settle()
{
    for (Channel& channel : channels_) {
        if (channel.exit_code && !exit_text_ && channel.exit_code->settle()) {
            note_exit_code(*channel.exit_code);
        }
        for (std::size_t i = 0; i < channel.until.size() && !all_came(); ++i) {
            std::optional<std::string> behind = channel.until[i].settle();
            if (behind && options_.in_order) {
                advance(channel, *std::move(behind));
            } else if (behind) {
                came_[i] = true;
            }
        }
    }
}

void Verdict::note_exit_code(const Watch& watch)
{
    const std::string& text = watch.group();
    std::int64_t code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    exit_text_ = text;
    if (error == std::errc{} && end == text.data() + text.size()) {
        exit_code_ = code;
    }
}

bool Verdict::all_came() const
{
    return std::ranges::find(came_, false) == came_.end();
}

bool Verdict::is_reached() const
{
    const bool awaits_words_only = !options_.exit_code_from && !options_.until.empty();
    return said_against_ || exit_text_ || (awaits_words_only && all_came());
}

void Verdict::end_by_words()
{
    if (said_against_) {
        ended_by_ = "fail_on";
        throw against(fmt::format("the firmware said '{}'", *said_against_), "Look at what it said before.");
    }
    if (!exit_text_) {
        ended_by_ = "until";
        return;
    }
    ended_by_ = "exit";
    if (!exit_code_) {
        throw against(fmt::format("the firmware ended with '{}', which is no exit code", *exit_text_),
                      "The first group of --exit-code-from is to hold the number alone: 'exit: ([0-9]+)'.");
    }
    judge_exit_code();
}

void Verdict::end_by_exit(const SemihostingExit& exit)
{
    if (is_reached()) { // by a line without an end
        end_by_words();
        return;
    }
    ended_by_ = "exit";
    exit_code_ = exit.code;
    if (!exit.code) {
        throw against(fmt::format("the firmware {}", describe(exit)), "Look at what it said before.");
    }
    judge_exit_code();
}

void Verdict::judge_exit_code()
{
    constexpr const char* hint = "Look at what it said before.";
    const std::string ended = fmt::format("the firmware ended with exit code {}", *exit_code_);
    if (*exit_code_ < 0 || *exit_code_ > highest_exit_code) {
        throw against(ended, "Exit codes from 0 to 255 would be this command's own.");
    }
    if (*exit_code_ != 0) {
        throw against(ended, hint, static_cast<int>(*exit_code_));
    }
    if (!all_came()) {
        throw against(fmt::format("{} before {} came", ended, missing()), hint);
    }
}

void Verdict::end_by_time(const std::string& when)
{
    ended_by_ = "timeout";
    if (options_.awaits_something()) {
        throw against(fmt::format("{} did not come {}", missing(), when),
                      "Give it more time with --timeout, or look at what came instead.");
    }
}

void Verdict::end_otherwise(const char* what)
{
    ended_by_ = what;
}

std::string Verdict::missing() const
{
    std::vector<std::string> words;
    for (std::size_t i = 0; i < came_.size(); ++i) {
        if (!came_[i]) {
            words.push_back(quoted(options_.until[i]));
        }
    }
    if (words.empty()) {
        return fmt::format("an exit code ({})", quoted(*options_.exit_code_from));
    }
    const std::size_t came = came_.size() - words.size();
    if (options_.in_order && came != 0) { // what comes later may have come too early
        return fmt::format("{} behind {}", words.front(), quoted(options_.until[came - 1]));
    }
    return joined(words, " and ");
}

Failure Verdict::against(const std::string& message, const char* hint, std::optional<int> firmware_code) const
{
    Failure failure{static_cast<ExitCode>(firmware_code.value_or(static_cast<int>(ExitCode::verdict))), message, hint};
    if (firmware_code) {
        failure.firmware_exit();
    }
    return failure.with(std::make_shared<const Json>(to_json(ended_by_)));
}

Failure Verdict::complete(Failure failure) const
{
    if (failure.code() != ExitCode::verdict) {
        return failure;
    }
    Json json = to_json("crash");
    if (failure.details() != nullptr) {
        json.append(*failure.details());
    }
    return failure.with(std::make_shared<const Json>(std::move(json)));
}

Json Verdict::to_json() const
{
    return to_json(ended_by_);
}

Json Verdict::to_json(const char* ended_by) const
{
    Json until = Json::list();
    for (std::size_t i = 0; i < came_.size(); ++i) {
        until.push_back(options_.until[i].to_json(came_[i]));
    }
    return {{"ended_by", ended_by},
            {"until", std::move(until)},
            {"firmware_exit_code", exit_code_ ? Json(*exit_code_) : Json()}};
}

std::string Verdict::summary() const
{
    if (exit_code_) {
        return "the firmware ended with exit code 0";
    }
    std::vector<std::string> words;
    std::ranges::transform(options_.until, std::back_inserter(words), &quoted);
    return words.empty() ? "" : fmt::format("{} came", joined(words, " and "));
}

} // namespace tessit::cli
