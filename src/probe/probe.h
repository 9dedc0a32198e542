#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Listing probes, and opening and closing the probe session. Nothing here checks arguments or state.
namespace tessit {

/// Whether the J-Link library has an open probe session. Always RESULT_OK.
result_code_t is_connected_to_emu(bool* connected);

/// Whether it is connected to the CPU. Always RESULT_OK.
result_code_t is_connected_to_device(bool* connected);

/// Serial numbers of the attached probes, as TESSIT_enum_emu_snr.
result_code_t enum_emu_snr(std::uint32_t* serial_numbers, std::uint32_t serial_numbers_len,
                           std::uint32_t* num_available);

/// Select a probe and open a session with it. Also reopens a session, with the session state's serial number and speed.
result_code_t connect_to_emu_with_snr(std::uint32_t serial_number, std::uint32_t swd_speed_khz);

/// Open a session with the selected probe, check the target's supply and configure the session. A failure leaves no
/// session open.
result_code_t connect_to_emu_without_snr(std::uint32_t swd_speed_khz);

/// Close the session and restart it on the same probe at the same speed, which drops the device connection.
result_code_t restart_probe_session();

/// Close the session. A failing access to the connected target leaves it open.
result_code_t disconnect_from_emu();

} // namespace tessit
