#include "src/rtt/rtt.h"

#include "base/little_endian.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/log/logger.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"

#include <algorithm>
#include <array>
#include <span>

namespace tessit {
namespace {

// Commands of JLINK_RTTERMINAL_Control.
enum class RttCommand : std::uint32_t
{
    start = 0,              // a start record, or null to search for the control block
    stop = 1,               // a stop record
    channel_descriptor = 2, // a channel descriptor record, completed
    channel_count = 3,      // a direction word; the result is the count
};

// Result of RttCommand::channel_count while the J-Link library has not found the control block.
constexpr std::int32_t control_block_not_found = -2;

// Records are handed over as pointers to words.
constexpr std::size_t record_alignment = alignof(std::uint32_t);

// A start record: the control block's address and three words of zero. A stop record: a one and zeros.
using ControlRecord = std::array<std::uint8_t, 16>;

// A channel descriptor record, and the offsets of its fields.
using ChannelDescriptor = std::array<std::uint8_t, 48>;
constexpr std::size_t descriptor_channel = 0;
constexpr std::size_t descriptor_direction = 4;
constexpr std::size_t descriptor_name = 8;
constexpr std::size_t descriptor_size = 40;

void put_word(std::span<std::uint8_t> record, std::size_t offset, std::uint32_t value)
{
    little_endian::store_u32(record.subspan(offset), value);
}

std::int32_t control(RttCommand command, void* record, CallSite site = CallSite::here())
{
    return checked(jlink().JLINK_RTTERMINAL_Control, site)(static_cast<std::uint32_t>(command), record);
}

result_code_t control_failure(std::int32_t result)
{
    return jlink_failure("RTTERMINAL_Control", result);
}

result_code_t count_channels(rtt_direction_t direction, std::uint32_t* count)
{
    alignas(record_alignment) ControlRecord direction_word{};
    put_word(direction_word, 0, static_cast<std::uint32_t>(direction));
    const std::int32_t result = control(RttCommand::channel_count, direction_word.data());
    if (result < 0) {
        return control_failure(result);
    }
    *count = static_cast<std::uint32_t>(result);
    return RESULT_OK;
}

} // namespace

result_code_t rtt_start()
{
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    RETURN_IF_FAILED(exec_command(chip->rtt_search_ranges));
    alignas(record_alignment) ControlRecord record{};
    put_word(record, 0, session.rtt_control_block_address);
    const std::int32_t result =
        control(RttCommand::start, session.rtt_control_block_address_set ? record.data() : nullptr);
    return result < 0 ? control_failure(result) : RESULT_OK;
}

result_code_t rtt_stop()
{
    alignas(record_alignment) ControlRecord record{1};
    const std::int32_t result = control(RttCommand::stop, record.data());
    return result < 0 ? control_failure(result) : RESULT_OK;
}

result_code_t rtt_is_control_block_found(bool* found)
{
    alignas(record_alignment) ControlRecord direction_word{};
    put_word(direction_word, 0, UP_DIRECTION);
    const std::int32_t result = control(RttCommand::channel_count, direction_word.data());
    if (result < 0 && result != control_block_not_found) {
        return control_failure(result);
    }
    *found = result >= 0;
    return RESULT_OK;
}

result_code_t rtt_read_channel_count(std::uint32_t* down_channel_number, std::uint32_t* up_channel_number)
{
    FunctionTag tag{"rtt_read_channel_count"};
    RETURN_IF_FAILED(count_channels(UP_DIRECTION, up_channel_number));
    return count_channels(DOWN_DIRECTION, down_channel_number);
}

result_code_t rtt_read(std::uint32_t channel, std::uint8_t* data, std::uint32_t data_len, std::uint32_t* data_read)
{
    const std::int32_t result = checked(jlink().JLINK_RTTERMINAL_Read)(channel, data, data_len);
    if (result < 0) {
        return jlink_failure("RTTERMINAL_Read", result);
    }
    *data_read = static_cast<std::uint32_t>(result);
    return RESULT_OK;
}

result_code_t rtt_write(std::uint32_t channel, const std::uint8_t* data, std::uint32_t data_len,
                        std::uint32_t* data_written)
{
    const std::int32_t result = checked(jlink().JLINK_RTTERMINAL_Write)(channel, data, data_len);
    if (result < 0) {
        return jlink_failure("RTTERMINAL_Write", result);
    }
    *data_written = static_cast<std::uint32_t>(result);
    return RESULT_OK;
}

result_code_t rtt_read_channel_info(std::uint32_t channel, rtt_direction_t direction, char* channel_name,
                                    std::uint32_t channel_name_len, std::uint32_t* channel_size)
{
    alignas(record_alignment) ChannelDescriptor descriptor{};
    put_word(descriptor, descriptor_channel, channel);
    put_word(descriptor, descriptor_direction, static_cast<std::uint32_t>(direction));
    const std::int32_t result = control(RttCommand::channel_descriptor, descriptor.data());
    if (result < 0) {
        return control_failure(result);
    }
    *channel_size = little_endian::load_u32(std::span{descriptor}.subspan(descriptor_size));
    const auto name = std::span{descriptor}.subspan(descriptor_name, rtt_name_length);
    const auto name_end = std::ranges::find(name, 0);
    std::fill_n(channel_name, rtt_name_length, '\0');
    std::transform(name.begin(), name_end, channel_name, [](std::uint8_t c) { return static_cast<char>(c); });
    if (name_end == name.end() && channel_name_len > rtt_name_length) {
        channel_name[rtt_name_length] = '\0';
    }
    return RESULT_OK;
}

} // namespace tessit
