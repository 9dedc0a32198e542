/// Commands to the flash loader while it runs, and its answers.
#pragma once

#include "cli/loader/protocol.h"
#include "cli/memory/memory.h"
#include "cli/rtt/link.h"
#include "cli/session/target.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessit::cli {

struct LoaderCommand
{
    loader_protocol::Command command{};
    std::vector<std::uint32_t> arguments{};
    Range data{0, 0};       ///< the content of these addresses follows; whole words, or nothing
    std::size_t values = 0; ///< words that the answer goes on with
    double seconds = 0;     ///< what it takes on the chip
};

/// What the loader could not do.
struct LoaderRefusal
{
    loader_protocol::Command command{};
    std::uint32_t address = 0;
    std::uint32_t found = 0; ///< there
};

class LoaderConversation
{
public:
    enum class Ending
    {
        done,
        refused,
        silent, ///< no answer in time, or RTT does not reach the chip any more
    };

    using Answered = std::function<void(const LoaderCommand& command)>;

    /// The CPU was just set running. Both outlive the conversation.
    LoaderConversation(const Session& session, RttLink& link);

    /// Whether the loader says that it runs, within half a second, or longer where SWD is slow.
    bool is_greeted();

    /// One command after the other goes out while the chip works on those before; the last is `end`. An answer is
    /// waited for twice as long as its command takes with its way over SWD, and a second more. Throws a Failure when
    /// Ctrl-C is pressed.
    Ending carry_out(std::span<const LoaderCommand> commands, const ContentOf& content, const Answered& answered);

    /// What came with the answers, in their order.
    const std::vector<std::uint32_t>& values() const { return values_; }
    const LoaderRefusal& refusal() const { return refusal_; }

private:
    enum class Heard
    {
        nothing,
        answer,
        refusal,
        nonsense,
    };

    void queue(const LoaderCommand& command, const ContentOf& content);
    bool exchange(bool is_last);
    Heard hear(const LoaderCommand& command);
    std::size_t words_heard() const;
    std::uint32_t word(std::size_t index) const;
    void drop_words(std::size_t count);
    std::optional<Ending> hear_answers(std::span<const LoaderCommand>& waiting, const Answered& answered);
    Clock::Duration patience(std::uint64_t words, double seconds) const;
    Clock::Duration patience(const LoaderCommand& command) const;

    const Session& session_;
    RttLink& link_;
    std::string outgoing_;
    std::string incoming_;
    std::vector<std::uint32_t> values_;
    LoaderRefusal refusal_;
};

} // namespace tessit::cli
