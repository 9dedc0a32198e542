// RTT of the session's probe, through the library: starting and stopping it, its channels, and their bytes.
#pragma once

#include "session/target.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessit::cli {

struct RttChannel
{
    uint32_t index;
    std::string name;
    uint32_t size; // of the ring in the chip's RAM, in bytes
};

struct RttChannels
{
    std::vector<RttChannel> up;   // from the chip
    std::vector<RttChannel> down; // to the chip
};

enum class RttState
{
    ready,
    no_control_block, // not yet, or not any longer
    disconnected,     // from the chip, or from the probe
};

// RTT is started while one lives. The chip is connected.
class RttLink
{
public:
    // Without an address the J-Link library searches the chip's RAM for the control block.
    RttLink(Session& session, std::optional<uint32_t> control_block);
    RttLink(const RttLink&) = delete;
    RttLink& operator=(const RttLink&) = delete;
    ~RttLink();

    RttState state() const;
    bool is_halted() const { return Target{session_}.is_halted(); }
    std::string command_line(std::string_view words) const { return session_.command_line(words); }
    // The control block has been found.
    RttChannels channels() const;

    // How many bytes were transferred, possibly 0. Null after a failure that may pass, when the chip was reset or the
    // connection was lost: ask for the state. Throws a Failure when it does not pass.
    std::optional<size_t> read(uint32_t channel, std::span<char> bytes);
    std::optional<size_t> write(uint32_t channel, std::string_view bytes);

    // After the connection was lost: try once to connect again. Throws when the probe itself is gone or the chip is
    // protected.
    bool reconnect();

private:
    bool has_passed(result_code_t result, const std::string& what);
    std::vector<RttChannel> channels(rtt_direction_t direction, uint32_t count) const;

    Session& session_;
    bool has_failed_ = false; // the last transfer
};

// Of control blocks that earlier runs left in RAM, the identifiers: the J-Link library would find one of these before
// the firmware has made its own. The CPU must be halted.
void erase_old_control_blocks(const Target& target);

} // namespace tessit::cli
