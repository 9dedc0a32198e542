#include "cli/rtt/watch.h"

#include "cli/failure.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

// A line without an end is searched in pieces of this length: the search's own stack grows with it.
constexpr std::size_t longest_line = 4096;

Failure refusal(std::string_view option, std::string_view reason, const char* hint)
{
    return {ExitCode::usage, fmt::format("{} {}", option, reason), hint};
}

} // namespace

Words Words::of_text(const std::string& text, std::string_view option)
{
    if (text.empty()) {
        throw refusal(option, "has an empty text, which would be there at once",
                      "Give the text that the firmware says; a script may have used a variable that is not set.");
    }
    return Words{text};
}

Words Words::of_regex(const std::string& text, std::string_view option)
{
    Words words{text};
    try {
        words.regex_ = std::make_shared<const std::regex>(text);
    } catch (const std::regex_error& error) {
        throw refusal(option, fmt::format("'{}' is no regular expression: {}", text, error.what()),
                      "They are as in ECMAScript: 'passed: [0-9]+', '^(ok|done)$'. Quote them for the shell.");
    }
    if (std::regex_search("", *words.regex_)) {
        throw refusal(option, fmt::format("'{}' matches an empty text, and would be there at once", text),
                      "Give an expression that needs at least one character.");
    }
    return words;
}

Json Words::to_json(bool came) const
{
    return {{is_regex() ? "regex" : "text", text_}, {"came", came}};
}

std::optional<std::string> Watch::take(std::string_view piece)
{
    seen_ += piece;
    return words_->is_regex() ? find_in_lines() : find_text();
}

std::optional<std::string> Watch::find_text()
{
    const std::string& text = words_->text();
    if (const std::size_t at = seen_.find(text); at != std::string::npos) {
        return seen_.substr(at + text.size());
    }
    // Only the last bytes can be the begin of a text that goes on in the next piece.
    if (seen_.size() >= text.size()) {
        seen_.erase(0, seen_.size() - (text.size() - 1));
    }
    return std::nullopt;
}

std::optional<std::string> Watch::find_in_lines()
{
    for (std::size_t end = seen_.find('\n'); end != std::string::npos; end = seen_.find('\n')) {
        if (std::optional<std::string> behind = find_in_line(end)) {
            return behind;
        }
        seen_.erase(0, end + 1);
        begins_line_ = true;
    }
    if (seen_.size() < longest_line) {
        return std::nullopt;
    }
    std::optional<std::string> behind = find_in_line(seen_.size());
    seen_.clear();
    begins_line_ = false;
    return behind;
}

std::optional<std::string> Watch::find_in_line(std::size_t length)
{
    const bool has_return = length != 0 && seen_[length - 1] == '\r';
    const auto end = seen_.cbegin() + static_cast<std::ptrdiff_t>(length - (has_return ? 1 : 0));
    const auto flags = begins_line_ ? std::regex_constants::match_default : std::regex_constants::match_not_bol;
    std::smatch match;
    try {
        if (!std::regex_search(seen_.cbegin(), end, match, words_->regex(), flags)) {
            return std::nullopt;
        }
    } catch (const std::regex_error& error) {
        throw Failure{ExitCode::failure, fmt::format("cannot search for '{}': {}", words_->text(), error.what()),
                      "Give a simpler regular expression."};
    }
    group_ = match.size() > 1 ? match[1].str() : "";
    return std::string{match[0].second, seen_.cend()};
}

std::optional<std::string> Watch::settle()
{
    return words_->is_regex() && !seen_.empty() ? find_in_line(seen_.size()) : std::nullopt;
}

} // namespace tessit::cli
