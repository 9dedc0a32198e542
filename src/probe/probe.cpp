#include "src/probe/probe.h"

#include "src/debugport/debug_port_access.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/log/jlink_log_forwarder.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace tessit {
namespace {

constexpr std::uint32_t usb_host_interface = 1;
constexpr std::int32_t swd_interface = 1;
constexpr std::uint16_t minimum_supply_millivolts = 1500;
// Debug Exception and Monitor Control Register of the core.
constexpr std::uint32_t demcr = 0xE000EDFC;

// Sent at every connection, in this order.
constexpr std::array session_commands{
    // One device profile stands for the whole family.
    "Device = BIRCH_M1_VA",
    "SetRestartOnClose = 0",
    // Writes reach the target as plain memory writes: this library drives the flash controller itself.
    "DisableFlashDL",
    "SetDbgPowerDownOnClose = 1",
    // No read is answered from the J-Link library's flash cache.
    "ExcludeFlashCacheRange 0x0-0xFFFFFFFF",
};

// The steps that follow a successful opening; whoever calls this closes the session when one fails.
result_code_t set_up_session(std::uint32_t swd_speed_khz)
{
    JLinkHardwareStatus status{};
    const std::int32_t status_result = checked(jlink().JLINKARM_GetHWStatus)(&status);
    if (status_result == 1) {
        return jlink_failure("GetHWStatus", status_result);
    }
    if (status.target_millivolts < minimum_supply_millivolts) {
        log_message("Low voltage detected in target device.");
        return ERR_TARGET_LOW_VOLTAGE;
    }
    log_message(TESSIT_LOG_DEVICE_PROFILE " in J-Link, so we select BIRCH_M1_VA.");
    for (const char* const command : session_commands) {
        RETURN_IF_FAILED(exec_command(command));
    }
    checked(jlink().JLINKARM_TIF_Select)(swd_interface);
    checked(jlink().JLINKARM_SetSpeed)(swd_speed_khz);
    const std::int32_t serial_number = checked(jlink().JLINKARM_GetSN)();
    if (serial_number < 0) {
        return jlink_failure("GetSN", serial_number);
    }
    session.connected_emu_snr = static_cast<std::uint32_t>(serial_number);
    session.connected_emu_speed = swd_speed_khz;
    return RESULT_OK;
}

} // namespace

result_code_t is_connected_to_emu(bool* connected)
{
    FunctionTag tag{"is_connected_to_emu"};
    *connected = checked(jlink().JLINKARM_IsOpen)() != 0;
    return RESULT_OK;
}

result_code_t is_connected_to_device(bool* connected)
{
    FunctionTag tag{"is_connected_to_device"};
    *connected = checked(jlink().JLINKARM_IsConnected)() != 0;
    return RESULT_OK;
}

result_code_t enum_emu_snr(std::uint32_t* serial_numbers, std::uint32_t serial_numbers_len,
                           std::uint32_t* num_available)
{
    FunctionTag tag{"enum_emu_snr"};
    *num_available = checked(jlink().JLINKARM_EMU_GetNumDevices)();
    if (serial_numbers_len == 0 || *num_available == 0) {
        return RESULT_OK;
    }
    // The list's own count is signed.
    *num_available = std::min<std::uint32_t>(*num_available, 0x7FFFFFFF);
    const std::uint32_t capacity = *num_available;
    const std::unique_ptr<JLinkProbeRecord[]> probes{new (std::nothrow) JLinkProbeRecord[capacity]};
    if (probes == nullptr) {
        log_message("Could not allocate enough memory to read the serial numbers.");
        return ERR_NO_MEMORY;
    }
    const std::int32_t listed = checked(jlink().JLINKARM_EMU_GetList)(usb_host_interface, probes.get(), capacity);
    if (listed < 0) {
        return jlink_failure("EMU_GetList", listed);
    }
    *num_available = static_cast<std::uint32_t>(listed);
    const std::uint32_t copied = std::min({serial_numbers_len, capacity, *num_available});
    std::transform(probes.get(), probes.get() + copied, serial_numbers,
                   [](const JLinkProbeRecord& probe) { return probe.serial_number; });
    return RESULT_OK;
}

result_code_t connect_to_emu_with_snr(std::uint32_t serial_number, std::uint32_t swd_speed_khz)
{
    FunctionTag tag{"connect_to_emu_with_snr"};
    const std::int32_t result = checked(jlink().JLINKARM_EMU_SelectByUSBSN)(serial_number);
    if (result < 0) {
        return jlink_failure("EMU_SelectByUSBSN", result, ERR_PROBE_NOT_FOUND);
    }
    return connect_to_emu_without_snr(swd_speed_khz);
}

result_code_t connect_to_emu_without_snr(std::uint32_t swd_speed_khz)
{
    FunctionTag tag{"connect_to_emu_without_snr"};
    const char* const error_text = checked(jlink().JLINKARM_OpenEx)(jlink_log_forwarder, jlink_log_forwarder);
    if (error_text != nullptr) {
        return jlink_failure("OpenEx", error_text);
    }
    const result_code_t result = set_up_session(swd_speed_khz);
    if (result != RESULT_OK) {
        checked(jlink().JLINKARM_Close)();
    }
    return result;
}

result_code_t restart_probe_session()
{
    RETURN_IF_FAILED(disconnect_from_emu());
    return connect_to_emu_with_snr(session.connected_emu_snr, session.connected_emu_speed);
}

result_code_t disconnect_from_emu()
{
    FunctionTag tag{"disconnect_from_emu"};
    bool device_connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&device_connected));
    if (device_connected) {
        RETURN_IF_FAILED(write_register(demcr, 0));
    } else {
        unpower_debug_and_system_regions(); // has logged its failure; the session is closed all the same
    }
    checked(jlink().JLINKARM_Close)();
    session.coresight_configured = false;
    session.debug_regions_powered = false;
    return RESULT_OK;
}

} // namespace tessit
