#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/rtt/rtt.h"
#include "src/target/device.h"

using namespace tessit;

namespace {

// RTT runs, and the device connection that it was started on is still there.
result_code_t require_rtt(const Export& op)
{
    RETURN_IF_FAILED(op.refuse_when(!session.rtt_started, "rtt_start has not been called"));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    return require_connection_kept(op, "rtt_start");
}

result_code_t require_channel(std::uint32_t channel_index, std::uint32_t channels)
{
    if (channel_index < channels) {
        return RESULT_OK;
    }
    log_message("There is no channel with index ", channel_index, " in the device.");
    return ERR_BAD_ARGUMENT;
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_set_control_block_address(std::uint32_t address)
{
    Export op{"rtt_set_control_block_address"};
    RETURN_IF_FAILED(op.refuse_when(session.rtt_started, "rtt_start has been called"));
    RETURN_IF_FAILED(op.require_open());
    session.rtt_control_block_address_set = true;
    session.rtt_control_block_address = address;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_start(void)
{
    Export op{"rtt_start"};
    RETURN_IF_FAILED(op.refuse_when(session.rtt_started, "rtt_start has already been called"));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(rtt_start());
    session.rtt_started = true;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_is_control_block_found(bool* is_control_block_found)
{
    Export op{"rtt_is_control_block_found"};
    RETURN_IF_FAILED(op.require(is_control_block_found != nullptr, "Invalid is_control_block_found pointer provided."));
    RETURN_IF_FAILED(require_rtt(op));
    return rtt_is_control_block_found(is_control_block_found);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_stop(void)
{
    Export op{"rtt_stop"};
    RETURN_IF_FAILED(require_rtt(op));
    RETURN_IF_FAILED(rtt_stop());
    session.rtt_started = false;
    session.rtt_control_block_address_set = false;
    session.rtt_control_block_address = 0;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_rtt_started(bool* started)
{
    Export op{"is_rtt_started"};
    RETURN_IF_FAILED(op.require(started != nullptr, "Invalid started pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    *started = session.rtt_started;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read(std::uint32_t channel_index, std::uint8_t* data,
                                                     std::uint32_t data_len, std::uint32_t* data_read)
{
    Export op{"rtt_read"};
    RETURN_IF_FAILED(op.require(data != nullptr, "Invalid data pointer provided."));
    RETURN_IF_FAILED(op.require(data_read != nullptr, "Invalid data_read pointer provided."));
    RETURN_IF_FAILED(require_rtt(op));
    std::uint32_t down_channels = 0;
    std::uint32_t up_channels = 0;
    RETURN_IF_FAILED(rtt_read_channel_count(&down_channels, &up_channels));
    RETURN_IF_FAILED(require_channel(channel_index, up_channels));
    return rtt_read(channel_index, data, data_len, data_read);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_write(std::uint32_t channel_index, const std::uint8_t* data,
                                                      std::uint32_t data_len, std::uint32_t* data_written)
{
    Export op{"rtt_write"};
    RETURN_IF_FAILED(op.require(data != nullptr, "Invalid data pointer provided."));
    RETURN_IF_FAILED(op.require(data_written != nullptr, "Invalid data_written pointer provided."));
    RETURN_IF_FAILED(require_rtt(op));
    std::uint32_t down_channels = 0;
    std::uint32_t up_channels = 0;
    RETURN_IF_FAILED(rtt_read_channel_count(&down_channels, &up_channels));
    RETURN_IF_FAILED(require_channel(channel_index, down_channels));
    return rtt_write(channel_index, data, data_len, data_written);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read_channel_count(std::uint32_t* down_channel_number,
                                                                   std::uint32_t* up_channel_number)
{
    Export op{"rtt_read_channel_count"};
    RETURN_IF_FAILED(op.require(down_channel_number != nullptr, "Invalid down_channel_number pointer provided."));
    RETURN_IF_FAILED(op.require(up_channel_number != nullptr, "Invalid up_channel_number pointer provided."));
    RETURN_IF_FAILED(require_rtt(op));
    return rtt_read_channel_count(down_channel_number, up_channel_number);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read_channel_info(std::uint32_t channel_index, rtt_direction_t dir,
                                                                  char* channel_name, std::uint32_t channel_name_len,
                                                                  std::uint32_t* channel_size)
{
    Export op{"rtt_read_channel_info"};
    RETURN_IF_FAILED(op.require(channel_name != nullptr, "Invalid channel_name pointer provided."));
    RETURN_IF_FAILED(op.require(channel_size != nullptr, "Invalid channel_size pointer provided."));
    RETURN_IF_FAILED(
        op.require(channel_name_len >= rtt_name_length, "Invalid channel_name length provided. Must be at least 32."));
    RETURN_IF_FAILED(
        op.require(dir == UP_DIRECTION || dir == DOWN_DIRECTION,
                   "Invalid dir parameter provided. The value received cannot be encoded in a rtt_direction_t."));
    RETURN_IF_FAILED(require_rtt(op));
    std::uint32_t down_channels = 0;
    std::uint32_t up_channels = 0;
    RETURN_IF_FAILED(rtt_read_channel_count(&down_channels, &up_channels));
    const std::uint32_t channels = dir == UP_DIRECTION ? up_channels : down_channels;
    RETURN_IF_FAILED(op.require(channel_index < channels, "Invalid channel_index provided."));
    return rtt_read_channel_info(channel_index, dir, channel_name, channel_name_len, channel_size);
}
