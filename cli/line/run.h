/// The same command on several boards at the same time.
#pragma once

#include "cli/line/board.h"
#include "cli/terminal/console.h"

#include <cstddef>
#include <functional>
#include <span>

namespace tessit::cli {

/// Is told of every board that has ended. May throw a Failure, which makes the board a failed one.
using BoardEnded = std::function<void(const Outcome&)>;

struct LineSettings
{
    std::size_t jobs = 0;      ///< so many at the same time
    bool tells_reports = true; ///< the begin of a board's result is told with its end
    BoardEnded ended;          ///< may be empty
};

/// Until every board has an outcome, which a failure, a pulled cable or a crash of one does not keep from the others.
/// No more than `jobs` at the same time. Ctrl-C is handed on to those that are under way, and keeps the rest from
/// beginning.
void run_boards(std::span<Board> boards, const LineSettings& settings, const Console& console);

} // namespace tessit::cli
