/// How the work on several boards is shown while it goes on, on standard error.
#pragma once

#include "cli/line/board.h"
#include "cli/terminal/console.h"

#include <memory>
#include <span>
#include <string>

namespace tessit::cli {

class View
{
public:
    View() = default;
    View(const View&) = delete;
    View& operator=(const View&) = delete;
    virtual ~View() = default;

    /// What the board's process has told: a line of `--progress json`, and the same parsed.
    virtual void tell(const Board& board, const std::string& line, const Json& event) = 0;
    /// It has its outcome; a line of its result may be told with it.
    virtual void end(const Board& board, const std::string& report) = 0;
    /// As often as anything may have changed.
    virtual void refresh() {}
    /// All boards have ended.
    virtual void finish() {}
};

/// A block of bars on a terminal; otherwise a line for each phase, with the board's serial in front; with
/// `--progress json` what the processes tell, as it is. Refers to all.
std::unique_ptr<View> make_view(const Console& console, std::span<const Board> boards);

/// What a line of `--progress json` tells of.
Phase phase_of(const Json& event);
/// The failure with its hint, with the board's serial in front; nothing of a board that is done.
void tell_failure(const Console& console, const Outcome& outcome);

} // namespace tessit::cli
