#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// The J-Link library's RTT. It does the transfers; these operations drive it. Nothing here checks arguments or state.
namespace tessit {

/// Give the J-Link library the chip's search ranges and start its RTT, at the session state's control block address
/// when one is set. ERR_UNEXPECTED_CHIP_VERSION (without a log line) for a chip without search ranges.
result_code_t rtt_start();
result_code_t rtt_stop();

result_code_t rtt_is_control_block_found(bool* found);

/// Number of channels in both directions; the up count is stored first. A control block that is not found yet is a
/// failure here.
result_code_t rtt_read_channel_count(std::uint32_t* down_channel_number, std::uint32_t* up_channel_number);

result_code_t rtt_read(std::uint32_t channel, std::uint8_t* data, std::uint32_t data_len, std::uint32_t* data_read);
result_code_t rtt_write(std::uint32_t channel, const std::uint8_t* data, std::uint32_t data_len,
                        std::uint32_t* data_written);

/// Length of a channel's name field, in bytes; a name that fills it has no terminator in it.
inline constexpr std::uint32_t rtt_name_length = 32;

/// Name and buffer size of an existing channel. See TESSIT_rtt_read_channel_info for what is written to channel_name.
result_code_t rtt_read_channel_info(std::uint32_t channel, rtt_direction_t direction, char* channel_name,
                                    std::uint32_t channel_name_len, std::uint32_t* channel_size);

} // namespace tessit
