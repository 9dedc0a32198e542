/// A conversation with the firmware and the verdict on it: what `rtt` and `run` have in common.
#pragma once

#include "cli/commands/on_probes.h"
#include "cli/rtt/conversation.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tessit::cli {

struct TalkOptions
{
    bool raw = false;
    bool reset = false;
    bool stays_halted = false;
    std::vector<std::uint32_t> channels; ///< empty: the conversation's own
    std::optional<std::uint32_t> control_block;
    ConversationOptions conversation;
};

/// Declares what both take. Gives those that make no sense where nothing is shown.
std::vector<Option> add_talk_options(const Verb& verb, TalkOptions& options);

/// After parsing: throws a Failure with ExitCode::usage for what does not go together.
void complete_talk_options(const Verb& verb, const Console& console, TalkOptions& options);

/// RTT is started, and the CPU runs, for as long as one lives.
class Talk
{
public:
    /// Refers to all.
    Talk(const Target& target, const TalkOptions& options, const Console& console);

    /// Waits for the firmware's channels.
    RttChannels channels();
    /// Until the conversation's end. A Failure where the firmware has not passed.
    Report converse();

private:
    const TalkOptions& options_;
    const Console& console_;
    bool was_locked_up_;
    RttLink link_;
    CpuWatch cpu_;
};

} // namespace tessit::cli
