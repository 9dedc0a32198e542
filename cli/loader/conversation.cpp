#include "cli/loader/conversation.h"

#include "base/little_endian.h"
#include "cli/memory/cost.h"

#include <array>
#include <chrono>

namespace tessit::cli {
namespace {

constexpr std::uint32_t channel = 0;
constexpr std::size_t word_bytes = 4;
constexpr std::size_t refusal_words = 3;
constexpr std::chrono::microseconds idle_pause{100};
constexpr std::size_t smallest_half = 512; // bytes

// A poll reads the control block, looks again at what it moves, and tells the chip.
constexpr std::uint64_t words_of_polls = 256;

void append(std::string& bytes, std::uint32_t word)
{
    const auto added = little_endian::bytes_of(word);
    bytes.append(added.begin(), added.end());
}

} // namespace

LoaderConversation::LoaderConversation(const Session& session, RttLink& link) : session_{session}, link_{link} {}

// Twice what it takes with its way over SWD.
Clock::Duration LoaderConversation::patience(std::uint64_t words, double seconds) const
{
    const double on_wire = cost::swd_word(session_.settings().speed_khz) * static_cast<double>(words + words_of_polls);
    return std::chrono::duration_cast<Clock::Duration>(std::chrono::duration<double>{2 * (seconds + on_wire)});
}

Clock::Duration LoaderConversation::patience(const LoaderCommand& command) const
{
    const std::uint64_t words = command.arguments.size() + command.values + command.data.length / word_bytes;
    return std::chrono::seconds{1} + patience(words, command.seconds);
}

bool LoaderConversation::is_greeted()
{
    const Clock::Duration deadline = session_.clock().now() + std::chrono::milliseconds{500} + patience(0, 0);
    while (words_heard() == 0) {
        stop_if_interrupted();
        if (session_.clock().now() > deadline) {
            return false;
        }
        if (link_.state() == RttState::ready && !exchange(false)) {
            return false;
        }
    }
    const bool is_loader = word(0) == loader_protocol::hello;
    drop_words(1);
    return is_loader;
}

LoaderConversation::Ending LoaderConversation::carry_out(std::span<const LoaderCommand> commands,
                                                         const ContentOf& content, const Answered& answered)
{
    const Clock& clock = session_.clock();
    std::span<const LoaderCommand> unsent = commands;
    Clock::Duration last_sign = clock.now();
    while (!commands.empty()) {
        stop_if_interrupted();
        if (outgoing_.empty() && !unsent.empty()) {
            queue(unsent.front(), content);
            unsent = unsent.subspan(1);
        }
        const std::size_t known = incoming_.size();
        if (!exchange(unsent.empty())) {
            return Ending::silent;
        }
        if (incoming_.size() != known) {
            last_sign = clock.now();
        } else if (clock.now() - last_sign > patience(commands.front())) {
            return Ending::silent;
        }
        if (const std::optional<Ending> ending = hear_answers(commands, answered)) {
            return *ending;
        }
    }
    return Ending::done;
}

// Takes those that are answered off the list. Gives what ends the conversation, if anything does.
std::optional<LoaderConversation::Ending> LoaderConversation::hear_answers(std::span<const LoaderCommand>& waiting,
                                                                           const Answered& answered)
{
    while (!waiting.empty()) {
        switch (hear(waiting.front())) {
        case Heard::nothing:
            return std::nullopt;
        case Heard::refusal:
            return Ending::refused;
        case Heard::nonsense:
            return Ending::silent;
        case Heard::answer:
            break;
        }
        if (answered) {
            answered(waiting.front());
        }
        waiting = waiting.subspan(1);
    }
    return std::nullopt;
}

void LoaderConversation::queue(const LoaderCommand& command, const ContentOf& content)
{
    append(outgoing_, static_cast<std::uint32_t>(command.command));
    for (const std::uint32_t argument : command.arguments) {
        append(outgoing_, argument);
    }
    std::vector<std::uint8_t> data(command.data.size());
    if (!data.empty()) {
        content(command.data, data);
        outgoing_.append(data.begin(), data.end());
    }
}

// Moves what can be moved. Reading waits a while where nothing comes, so that is left until nothing more can be given.
// The chip sees nothing of what is on the way before all of it is there: so the last goes in halves, lest it wait for
// much with nothing to do.
bool LoaderConversation::exchange(bool is_last)
{
    if (!outgoing_.empty()) {
        const std::size_t offered =
            is_last && outgoing_.size() > smallest_half ? outgoing_.size() / 2 : outgoing_.size();
        const auto given = link_.write(channel, std::string_view{outgoing_}.substr(0, offered));
        if (!given) {
            return false;
        }
        outgoing_.erase(0, *given);
        if (outgoing_.empty()) {
            return true;
        }
    }
    std::array<char, 4096> bytes{};
    const auto count = link_.read(channel, bytes);
    if (count == 0) {
        session_.clock().wait(idle_pause);
    }
    incoming_.append(bytes.data(), count.value_or(0));
    return count.has_value();
}

LoaderConversation::Heard LoaderConversation::hear(const LoaderCommand& command)
{
    if (words_heard() == 0) {
        return Heard::nothing;
    }
    const std::uint32_t expected = static_cast<std::uint32_t>(command.command);
    if (word(0) == (expected | loader_protocol::failed)) {
        if (words_heard() < refusal_words) {
            return Heard::nothing;
        }
        refusal_ = {command.command, word(1), word(2)};
        return Heard::refusal;
    }
    if (word(0) != expected) {
        return Heard::nonsense;
    }
    if (words_heard() <= command.values) {
        return Heard::nothing;
    }
    for (std::size_t i = 0; i < command.values; ++i) {
        values_.push_back(word(1 + i));
    }
    drop_words(1 + command.values);
    return Heard::answer;
}

std::size_t LoaderConversation::words_heard() const
{
    return incoming_.size() / word_bytes;
}

std::uint32_t LoaderConversation::word(std::size_t index) const
{
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(incoming_.data());
    return little_endian::load_u32({bytes + index * word_bytes, word_bytes});
}

void LoaderConversation::drop_words(std::size_t count)
{
    incoming_.erase(0, count * word_bytes);
}

} // namespace tessit::cli
