/// A conversation with the firmware: what its up channels say is shown, and what the user types goes to a down channel.
#pragma once

#include "cli/rtt/cpu_watch.h"
#include "cli/rtt/link.h"
#include "cli/rtt/output.h"
#include "cli/rtt/verdict.h"
#include "cli/terminal/console.h"
#include "cli/time/clock.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessit::cli {

struct ConversationOptions
{
    std::vector<std::uint32_t> up{0};
    std::uint32_t down = 0;
    bool needs_down = false; ///< firmware without that down channel is a failure; otherwise input is left alone
    bool takes_input = true;
    VerdictOptions verdict;
    std::optional<std::chrono::duration<double>> timeout;
    RttOutput::Options output;
};

/// When a conversation, or the wait for its begin, must be over.
class Deadline
{
public:
    Deadline(const Clock& clock, std::optional<std::chrono::duration<double>> timeout);

    bool has_passed() const { return end_ && clock_.now() >= *end_; }
    /// "within 2.5 s"
    const std::string& text() const { return text_; }

private:
    const Clock& clock_;
    std::optional<Clock::Duration> end_;
    std::string text_;
};

/// Waits until the firmware's channels are known, connecting again where necessary; a line tells of it unless they are
/// known at once. Throws a Failure when the CPU stands still or the deadline passes before, and after Ctrl-C.
RttChannels wait_for_channels(RttLink& link, const CpuWatch& cpu, const Deadline& deadline, const Console& console);

class Conversation
{
public:
    Conversation(RttLink& link, const CpuWatch& cpu, const ConversationOptions& options, const Console& console);

    /// Until one of its ends: the verdict is reached, the time is over, the input ended and the firmware has had its
    /// say, standard output is closed, the firmware has ended itself or crashed, or Ctrl-C. A Failure where the
    /// firmware has not passed.
    void run();
    const Verdict& verdict() const { return verdict_; }

private:
    void converse();
    void attach();
    bool receive();
    bool send();
    void take_input(std::chrono::milliseconds wait);
    void gather_input();
    void look_at_cpu();
    bool is_over();
    void end_by_time();
    bool has_had_its_say() const;

    RttLink& link_;
    const CpuWatch& cpu_;
    const ConversationOptions& options_;
    const Console& console_;
    const Clock& clock_;
    Deadline deadline_;
    RttOutput output_;
    Verdict verdict_;
    std::vector<char> received_;
    std::vector<char> input_;
    bool can_send_ = false;
    bool has_ended_input_ = false;
    bool gathers_input_ = false; ///< all that is written into it, at once
    std::string typed_;          ///< and not sent yet
    Clock::Duration last_moved_{};
    Clock::Duration last_look_{}; ///< at the CPU
};

} // namespace tessit::cli
