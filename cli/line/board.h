/// One of several boards, each served by a process of its own: the J-Link library holds one session a process.
#pragma once

#include "cli/line/outcome.h"
#include "cli/platform/process.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessit::cli {

class Board
{
public:
    /// `words` are the command for this board, as `--progress json --json` makes it speak.
    Board(std::uint32_t serial, std::vector<std::string> words);

    std::uint32_t serial() const { return serial_; }
    bool has_begun() const { return has_begun_; }
    bool is_running() const { return process_ != nullptr; }

    void begin();
    void interrupt() const;
    /// Of a board that is running.
    platform::Process& process() const { return *process_; }

    /// Is given each line that the process wrote on standard error, and the same as JSON; what is none becomes a note.
    using Listener = std::function<void(const std::string& line, const Json& event)>;
    /// Takes what the process has said. True when it has ended: then the board has an outcome.
    bool listen(const Listener& listener);

    /// Ends it without its process.
    void give_up(const Failure& failure);

    const Outcome& outcome() const { return outcome_; }
    Outcome& outcome() { return outcome_; }

private:
    void take_line(const std::string& line, const Listener& listener);
    void conclude();
    Json error_without_result() const;

    std::uint32_t serial_;
    std::vector<std::string> words_;
    std::unique_ptr<platform::Process> process_;
    bool has_begun_ = false;
    std::chrono::steady_clock::time_point begin_;
    std::string output_; ///< the result as JSON
    std::string errors_; ///< the begin of a line
    Json error_;         ///< the last one that it told of
    Outcome outcome_;
};

} // namespace tessit::cli
