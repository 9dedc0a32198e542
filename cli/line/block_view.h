/// A line of the terminal for each board, in a block that stays in its place.
#pragma once

#include "cli/line/view.h"

#include <chrono>
#include <map>
#include <vector>

namespace tessit::cli {

class BlockView : public View
{
public:
    BlockView(const Console& console, std::span<const Board> boards);

    void tell(const Board& board, const std::string& line, const Json& event) override;
    void end(const Board& board, const std::string& report) override;
    void refresh() override;
    void finish() override;

private:
    struct Row
    {
        Phase phase;      ///< what is under way
        std::string text; ///< shown instead, unless it is empty
    };

    std::string line_of(const Board& board, std::size_t columns) const;
    std::vector<std::string> lines_that_fit(std::size_t columns, std::size_t most) const;
    void draw();

    const Console& console_;
    std::span<const Board> boards_;
    std::map<std::uint32_t, Row> rows_;
    std::vector<std::string> drawn_; ///< the lines that are on the terminal
    std::chrono::steady_clock::time_point last_drawn_;
};

/// What a board that waits, that works, or that has ended looks like, in that many columns at most.
std::string format_row(std::uint32_t serial, std::string_view text, std::size_t columns);

} // namespace tessit::cli
