#include "cli/rtt/conversation.h"

#include "cli/platform/platform.h"
#include "cli/text/lists.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <span>

namespace tessit::cli {
namespace {

using std::chrono::milliseconds;

// Taken from a channel at once; more than the J-Link library buffers.
constexpr std::size_t read_bytes = std::size_t{256} * 1024;
constexpr std::size_t input_bytes = std::size_t{64} * 1024;

// Between two looks at channels that had nothing: short enough to seem immediate, long enough to leave the processor
// to others. While data flows nothing waits.
constexpr milliseconds idle_wait{2};
constexpr milliseconds reconnect_wait{200};

// Modelled time stands still until what another program writes into our input has come: up to its end, or to a pause of
// this much of the host's time. A program that pauses waits for something, perhaps for the firmware.
constexpr milliseconds input_pause{1000};

// More than the J-Link library takes to search all of the RAM.
constexpr milliseconds search_time{2000};

// At the end of the input the firmware's answer is awaited; it is complete when nothing came for this long.
constexpr milliseconds answer_pause{500};

// After so long without a byte the CPU is looked at, and again each time.
constexpr milliseconds silence{100};

constexpr const char* no_control_block = "there is no RTT control block";
constexpr const char* has_crashed = "the firmware has stopped";

std::string list_channels(const std::vector<RttChannel>& channels)
{
    std::vector<std::string> names;
    names.reserve(channels.size());
    for (const RttChannel& channel : channels) {
        names.push_back(fmt::format("{} '{}'", channel.index, channel.name));
    }
    return names.empty() ? "none" : joined(names);
}

Failure no_channel(const char* direction, std::uint32_t index, const std::vector<RttChannel>& channels)
{
    return {ExitCode::failure, fmt::format("the firmware has no {} channel {}", direction, index),
            fmt::format("Its {} channels: {}.", direction, list_channels(channels))};
}

std::vector<RttOutput::ShownChannel> shown_channels(const std::vector<std::uint32_t>& indexes,
                                                    const std::vector<RttChannel>& channels)
{
    std::vector<RttOutput::ShownChannel> shown;
    for (const std::uint32_t index : indexes) {
        if (index >= channels.size()) {
            throw no_channel("up", index, channels);
        }
        const std::string& name = channels[index].name;
        shown.push_back({index, name.empty() ? fmt::format("channel {}", index) : name});
    }
    return shown;
}

} // namespace

Deadline::Deadline(const Clock& clock, std::optional<std::chrono::duration<double>> timeout) : clock_{clock}
{
    if (timeout) {
        end_ = clock.now() + std::chrono::duration_cast<Clock::Duration>(*timeout);
        text_ = fmt::format("within {:g} s", timeout->count());
    }
}

RttChannels wait_for_channels(RttLink& link, const CpuWatch& cpu, const Deadline& deadline, const Console& console)
{
    const Clock::Duration begin = link.clock().now();
    RttState told = RttState::ready;
    for (;;) {
        const RttState state = link.state();
        if (state == RttState::ready) {
            if (std::optional<RttChannels> channels = link.channels()) {
                return *std::move(channels);
            }
            continue;
        }
        stop_if_interrupted("the firmware's RTT control block was not found yet");
        // A control block that an earlier run left may still be found, also of a CPU that stands still.
        const bool is_searched = state == RttState::no_control_block && link.clock().now() - begin >= search_time;
        if (is_searched || deadline.has_passed()) {
            cpu.require_alive(no_control_block);
        }
        if (deadline.has_passed()) {
            cpu.require_sound(no_control_block);
            throw Failure{ExitCode::verdict, fmt::format("no RTT control block was found {}", deadline.text()),
                          "Check that the firmware uses RTT and gets that far, or tell where its control block is with "
                          "--address."}
                .with(std::make_shared<const Json>(Json{{"ended_by", "timeout"}}));
        }
        if (state != told) {
            console.note(state == RttState::disconnected ? "The connection to the chip is lost; connecting again ..."
                                                         : "Waiting for the firmware's RTT control block ...");
            told = state;
        }
        const bool is_away = state == RttState::disconnected && !link.reconnect();
        link.clock().wait(is_away ? reconnect_wait : idle_wait);
    }
}

Conversation::Conversation(RttLink& link, const CpuWatch& cpu, const ConversationOptions& options,
                           const Console& console)
    : link_{link},
      cpu_{cpu},
      options_{options},
      console_{console},
      clock_{link.clock()},
      deadline_{clock_, options.timeout},
      output_{clock_, options.output},
      verdict_{options.verdict, options.up.size()},
      received_(read_bytes),
      input_(input_bytes),
      has_ended_input_{!options.takes_input},
      gathers_input_{clock_.is_modelled() && !platform::is_terminal(stdin)}
{
}

void Conversation::run()
{
    try {
        converse();
    } catch (const FirmwareExit& exit) {
        output_.finish();
        verdict_.settle();
        verdict_.end_by_exit(exit.exit());
    } catch (const Failure& failure) {
        throw verdict_.complete(failure);
    }
}

void Conversation::converse()
{
    attach();
    while (!is_over()) {
        stop_if_interrupted();
        const bool received = receive();
        const bool sent = send();
        if (received || sent) {
            last_moved_ = clock_.now();
        }
        look_at_cpu();
        take_input(received || sent ? milliseconds{0} : idle_wait);
    }
    output_.finish();
}

void Conversation::attach()
{
    const RttChannels channels = wait_for_channels(link_, cpu_, deadline_, console_);
    output_.show_channels(shown_channels(options_.up, channels.up));
    can_send_ = options_.down < channels.down.size();
    if (!can_send_ && options_.needs_down) {
        throw no_channel("down", options_.down, channels.down);
    }
    last_moved_ = clock_.now();
}

bool Conversation::receive()
{
    bool has_received = false;
    for (std::size_t i = 0; i < options_.up.size(); ++i) {
        const std::optional<std::size_t> count = link_.read(options_.up[i], received_);
        if (!count) {
            attach();
            return true;
        }
        if (*count != 0) {
            const std::string_view bytes{received_.data(), *count};
            output_.take(i, bytes);
            verdict_.take(i, bytes);
            has_received = true;
        }
    }
    return has_received;
}

bool Conversation::send()
{
    if (typed_.empty()) {
        return false;
    }
    if (!can_send_) {
        console_.note(fmt::format("The firmware has no down channel {}: the input goes nowhere.", options_.down));
        typed_.clear();
        return false;
    }
    const std::optional<std::size_t> count = link_.write(options_.down, typed_);
    if (!count) {
        attach();
        return true;
    }
    typed_.erase(0, *count);
    return *count != 0;
}

void Conversation::take_input(milliseconds wait)
{
    if (has_ended_input_ || !typed_.empty()) {
        clock_.wait(wait);
        return;
    }
    if (gathers_input_) {
        gather_input();
        clock_.wait(wait);
        return;
    }
    const platform::Input input = platform::read_input(input_, wait);
    if (input.length == 0 && clock_.is_modelled()) {
        clock_.wait(wait);
    }
    typed_.assign(input_.data(), input.length);
    has_ended_input_ = input.has_ended;
}

void Conversation::gather_input()
{
    while (gathers_input_ && typed_.size() < input_.size()) {
        const platform::Input input = platform::read_input(std::span{input_}.subspan(typed_.size()), input_pause);
        typed_.append(input_.data() + typed_.size(), input.length);
        has_ended_input_ = input.has_ended;
        gathers_input_ = input.length != 0;
    }
}

// What the firmware said before it crashed has been shown by then.
void Conversation::look_at_cpu()
{
    const Clock::Duration now = clock_.now();
    if (now - std::max(last_moved_, last_look_) >= silence) {
        last_look_ = now;
        verdict_.settle();
        if (!verdict_.is_reached()) {
            cpu_.require_not_crashed(has_crashed);
        }
    }
}

bool Conversation::is_over()
{
    if (verdict_.is_reached()) {
        output_.finish(); // before anything is said of it
        verdict_.end_by_words();
        return true;
    }
    if (RttOutput::is_closed()) {
        verdict_.end_otherwise("closed");
        return true;
    }
    if (deadline_.has_passed()) {
        end_by_time();
        return true;
    }
    if (has_had_its_say()) {
        verdict_.end_otherwise("input");
        return true;
    }
    return false;
}

void Conversation::end_by_time()
{
    verdict_.settle();
    if (verdict_.is_reached()) {
        verdict_.end_by_words();
        return;
    }
    try {
        cpu_.require_not_crashed(has_crashed);
    } catch (const FirmwareExit&) {
        if (!options_.verdict.awaits_something()) {
            throw;
        }
    }
    if (options_.verdict.judges()) {
        cpu_.require_sound(has_crashed);
    }
    verdict_.end_by_time(deadline_.text()); // what was awaited came too late, also when it may come with the end
}

// Without a text or a time to wait for, the end of the input is the end.
bool Conversation::has_had_its_say() const
{
    return options_.takes_input && has_ended_input_ && typed_.empty() && !options_.verdict.awaits_something() &&
           !options_.timeout && clock_.now() - last_moved_ >= answer_pause;
}

} // namespace tessit::cli
