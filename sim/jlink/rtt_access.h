#pragma once

#include "sim/jlink/session.h"

#include <optional>
#include <span>
#include <string_view>

/// RTT through a session that is connected to its chip.
namespace jlinksim {

/// What the RTT functions answer instead of a count; hosts look at the sign, and for not_found at the value.
namespace rtt_result {
inline constexpr int failure = -1;
inline constexpr int not_found = -2; ///< RTT is started, and there is no control block yet
} // namespace rtt_result

/// 0 or a failure. Without an address the session's search ranges are searched.
int start_rtt(Session& session, std::optional<std::uint32_t> block_address);
/// Done also when RTT is not started: a host may have started it in an earlier session.
int stop_rtt(Session& session);

int count_rtt_channels(Session& session, std::uint32_t direction);

struct RttChannel
{
    RttRing ring;
    std::array<char, 32> name; ///< filled up with zeros; a longer name is cut and has no zero
};
std::optional<RttChannel> describe_rtt_channel(Session& session, std::uint32_t direction, std::uint32_t channel);

/// Bytes taken or given. When there is nothing to do now, the target gets a while to change that.
int read_rtt(Session& session, std::uint32_t channel, std::span<std::uint8_t> data);
int write_rtt(Session& session, std::uint32_t channel, std::span<const std::uint8_t> data);

} // namespace jlinksim
