#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Connecting to the device, its protection and its identification. Nothing here checks arguments or state.
namespace tessit {

struct ChipVersion;

/// Connect and identify the chip; one that cannot be identified is not left connected.
result_code_t connect_to_device();

/// Drop the device connection by restarting the probe session; nothing to do without one.
result_code_t disconnect_from_device();

/// NONE or FULL; a chip without CTRL-AP is NONE.
result_code_t readback_status(readback_protection_status_t* status);

result_code_t is_ctrl_ap_available(bool* available);

/// Never UNKNOWN on success.
result_code_t read_device_version(chip_version_t* version);

/// UNKNOWN (with RESULT_OK) when the part code is absent.
result_code_t decode_device_version(std::uint32_t part, std::uint32_t revision, chip_version_t* version);

/// read_device_version, and the version's row; ERR_UNEXPECTED_CHIP_VERSION (without a log line) for one that is no
/// Birch chip.
result_code_t read_chip(const ChipVersion** chip);

/// Connect, but never to a protected chip (ERR_PROTECTED, without a log line).
result_code_t connect_to_unprotected_device();

/// The device-ready step of the exports that need the target: connect_to_unprotected_device, unless it is connected.
result_code_t make_device_ready();

} // namespace tessit
