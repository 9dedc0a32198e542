/// What the library narrates, as somebody reads it: what repeats itself, as a poll does, is told once and counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

namespace tessit::cli {

class FoldedLines
{
public:
    /// Of a line and the probe that it is about, 0 before there is one.
    using Write = std::function<void(std::uint32_t serial, std::string_view line)>;

    /// Nothing is written where `write` is empty, and each line as it comes where nothing is to be folded.
    explicit FoldedLines(Write write, bool folds = true) : write_{std::move(write)}, folds_{folds} {}

    void at_probe(std::uint32_t serial) { serial_ = serial; }
    void add(std::string_view line);
    /// Tells how often the last lines were repeated.
    void finish();

private:
    bool repeats(std::string_view line);
    void find_repetition();

    Write write_;
    bool folds_;
    std::uint32_t serial_ = 0;
    std::deque<std::string> last_;   ///< lines, the newest at the end
    std::size_t period_ = 0;         ///< lines that repeat themselves; 0: none do
    std::size_t repeated_lines_ = 0; ///< that were not written
};

/// "2026-11-23T16:07:10.123 600000101 line", or with "-" for a probe that is not known yet.
std::string stamped(const std::string& time, std::uint32_t serial, std::string_view line);

} // namespace tessit::cli
