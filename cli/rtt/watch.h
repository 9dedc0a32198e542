/// Waits for words of the firmware in a stream that comes in pieces.
#pragma once

#include "cli/text/json.h"

#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <string_view>

namespace tessit::cli {

/// Words that the firmware may say: a text, wherever it stands, or a regular expression that a line is searched for.
class Words
{
public:
    /// These throw a Failure with ExitCode::usage for what would be there at once, and for what is no regular
    /// expression. `option` is the one that gives them.
    static Words of_text(const std::string& text, std::string_view option);
    static Words of_regex(const std::string& text, std::string_view option);

    const std::string& text() const { return text_; }
    bool is_regex() const { return regex_ != nullptr; }
    /// Of a regular expression.
    const std::regex& regex() const { return *regex_; }
    Json to_json(bool came) const;

private:
    explicit Words(std::string text) : text_{std::move(text)} {}

    std::string text_;
    std::shared_ptr<const std::regex> regex_;
};

/// A regular expression sees whole lines, without their ends. A line that has none yet waits for it, so that a number
/// at its end is not taken for the first half of itself.
class Watch
{
public:
    /// Of words that stay where they are. What comes may go on in the middle of a line.
    explicit Watch(const Words& words, bool begins_line = true) : words_{&words}, begins_line_{begins_line} {}

    /// What follows the words, once they have come, perhaps begun in earlier pieces.
    std::optional<std::string> take(std::string_view piece);
    /// Nothing more comes for now: a line without an end counts as it is.
    std::optional<std::string> settle();

    /// Of a regular expression that has come, what its first group holds.
    const std::string& group() const { return group_; }

private:
    std::optional<std::string> find_text();
    std::optional<std::string> find_in_lines();
    std::optional<std::string> find_in_line(std::size_t length);

    const Words* words_;
    bool begins_line_;
    std::string seen_;
    std::string group_;
};

} // namespace tessit::cli
