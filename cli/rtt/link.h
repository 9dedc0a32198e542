/// RTT of the session's probe, through the library: starting and stopping it, its channels, and their bytes.
#pragma once

#include "cli/session/target.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

/// What a control block begins with.
inline constexpr std::string_view rtt_identifier{"SEGGER RTT\0\0\0\0\0\0", 16};

struct RttChannel
{
    std::uint32_t index;
    std::string name;
    std::uint32_t size; ///< of the ring in the chip's RAM, in bytes
};

struct RttChannels
{
    std::vector<RttChannel> up;   ///< from the chip
    std::vector<RttChannel> down; ///< to the chip
};

enum class RttState
{
    ready,
    no_control_block, ///< not yet, or not any longer
    disconnected,     ///< from the chip, or from the probe
};

/// RTT is started while one lives. The chip is connected.
class RttLink
{
public:
    /// Without an address the J-Link library searches the chip's RAM for the control block.
    RttLink(Session& session, std::optional<std::uint32_t> control_block);
    RttLink(const RttLink&) = delete;
    RttLink& operator=(const RttLink&) = delete;
    ~RttLink();

    const Clock& clock() const { return session_.clock(); }

    RttState state();
    /// These give null after a failure that may pass, when the chip was reset or the connection was lost: ask for the
    /// state. They throw a Failure when it does not pass.

    std::optional<RttChannels> channels();
    /// How many bytes were transferred, possibly 0.
    std::optional<std::size_t> read(std::uint32_t channel, std::span<char> bytes);
    std::optional<std::size_t> write(std::uint32_t channel, std::string_view bytes);

    /// After the connection was lost: try once to connect again. Throws when the probe itself is gone or the chip is
    /// protected.
    bool reconnect();

private:
    RttState ask_state() const;
    bool has_passed(result_code_t result, const std::string& what);
    std::optional<std::size_t> transferred(result_code_t result, std::uint32_t count, const std::string& what);
    std::optional<std::vector<RttChannel>> channels(rtt_direction_t direction, std::uint32_t count);

    Session& session_;
    bool has_failed_ = false; ///< since the last transfer, and the state does not tell why
};

/// Of control blocks that earlier runs left in RAM, the identifiers: the J-Link library would find one of these before
/// the firmware has made its own. The CPU must be halted.
void erase_old_control_blocks(const Target& target);

} // namespace tessit::cli
