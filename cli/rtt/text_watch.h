/// Waits for a text in a stream that comes in pieces.
#pragma once

#include <string>
#include <string_view>

namespace tessit::cli {

class TextWatch
{
public:
    /// An empty text never comes.
    explicit TextWatch(std::string text) : text_{std::move(text)} {}

    /// Whether the text has come by now, perhaps begun in earlier pieces.
    bool take(std::string_view piece)
    {
        if (text_.empty() || has_come_) {
            return has_come_;
        }
        seen_ += piece;
        has_come_ = seen_.find(text_) != std::string::npos;
        /// Only the last bytes can be the begin of a text that goes on in the next piece.
        if (seen_.size() >= text_.size()) {
            seen_.erase(0, seen_.size() - (text_.size() - 1));
        }
        return has_come_;
    }

private:
    std::string text_;
    std::string seen_;
    bool has_come_ = false;
};

} // namespace tessit::cli
