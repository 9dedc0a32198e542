// The J-Link functions of RTT.
#include "jlinkarm_api.h"
#include "sim/api/call.h"
#include "sim/jlink/rtt_access.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <span>

using namespace jlinksim;

// Records are read and written as the host's words: the simulation runs where hosts are little-endian, too.
static_assert(std::endian::native == std::endian::little);

namespace {

/// Commands of JLINK_RTTERMINAL_Control.
enum RttCommand : std::uint32_t
{
    command_start,
    command_stop,
    command_describe_channel,
    command_count_channels,
};

struct StartRecord
{
    std::uint32_t block_address;
    std::uint32_t reserved[3];
};

struct ChannelRecord
{
    std::uint32_t channel;
    std::uint32_t direction;
    char name[32];
    std::uint32_t size;
    std::uint32_t flags;
};
static_assert(sizeof(ChannelRecord) == 48);

std::int32_t start(Session& session, const void* record)
{
    if (record == nullptr) {
        return start_rtt(session, {});
    }
    StartRecord request{};
    std::memcpy(&request, record, sizeof request);
    return start_rtt(session, request.block_address);
}

std::int32_t describe_channel(Session& session, void* record)
{
    ChannelRecord channel{};
    if (record == nullptr) {
        return rtt_result::failure;
    }
    std::memcpy(&channel, record, sizeof channel);
    const std::optional<RttChannel> found = describe_rtt_channel(session, channel.direction, channel.channel);
    if (!found) {
        return rtt_result::failure;
    }
    std::ranges::copy(found->name, channel.name);
    channel.size = found->ring.size;
    channel.flags = found->ring.flags;
    std::memcpy(record, &channel, sizeof channel);
    return 0;
}

std::int32_t count_channels(Session& session, const void* record)
{
    std::uint32_t direction = 0;
    if (record == nullptr) {
        return rtt_result::failure;
    }
    std::memcpy(&direction, record, sizeof direction);
    return count_rtt_channels(session, direction);
}

std::int32_t control(Session& session, std::uint32_t command, void* record)
{
    switch (command) {
    case command_start:
        return start(session, record);
    case command_stop:
        return stop_rtt(session);
    case command_describe_channel:
        return describe_channel(session, record);
    case command_count_channels:
        return count_channels(session, record);
    default:
        session.bench().records().add("rtt-command", fmt::format("there is no RTT command {}", command));
        return rtt_result::failure;
    }
}

/// A count of bytes must fit into the result.
std::size_t countable(std::uint32_t size)
{
    return std::min<std::size_t>(size, std::numeric_limits<std::int32_t>::max());
}

} // namespace

int32_t JLINKARM_CALL JLINK_RTTERMINAL_Control(uint32_t command, void* record)
{
    return simulate<std::int32_t>(
        "JLINK_RTTERMINAL_Control", rtt_result::failure, [=] { return fmt::format("{}", command); },
        [=](Session& session) { return control(session, command, record); });
}

int32_t JLINKARM_CALL JLINK_RTTERMINAL_Read(uint32_t channel, void* buffer, uint32_t size)
{
    return simulate<std::int32_t>(
        "JLINK_RTTERMINAL_Read", rtt_result::failure, [=] { return fmt::format("{}, {}", channel, size); },
        [=](Session& session) -> std::int32_t {
            if (buffer == nullptr && size != 0) {
                return rtt_result::failure;
            }
            return read_rtt(session, channel, {static_cast<std::uint8_t*>(buffer), countable(size)});
        });
}

int32_t JLINKARM_CALL JLINK_RTTERMINAL_Write(uint32_t channel, const void* data, uint32_t size)
{
    return simulate<std::int32_t>(
        "JLINK_RTTERMINAL_Write", rtt_result::failure, [=] { return fmt::format("{}, {}", channel, size); },
        [=](Session& session) -> std::int32_t {
            if (data == nullptr && size != 0) {
                return rtt_result::failure;
            }
            return write_rtt(session, channel, {static_cast<const std::uint8_t*>(data), countable(size)});
        });
}
