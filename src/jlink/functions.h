#pragma once

#include "src/platform/calling_convention.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tessit {

/// Receives a text of the J-Link library.
using JLinkLogHandler = void(JLINK_CALL*)(const char* text);

/// A probe as JLINKARM_EMU_GetList reports it; the J-Link library writes 264 bytes for each.
struct JLinkProbeRecord
{
    std::uint32_t serial_number;
    std::array<std::uint8_t, 260> other;
};
static_assert(sizeof(JLinkProbeRecord) == 264);

/// The target's state as JLINKARM_GetHWStatus reports it. What follows the supply is not looked at; the room is
/// generous, because the J-Link library writes all of its record.
struct JLinkHardwareStatus
{
    std::uint16_t target_millivolts;
    std::array<std::uint8_t, 62> other;
};
static_assert(offsetof(JLinkHardwareStatus, target_millivolts) == 0);

} // namespace tessit

/// The J-Link functions that this library uses, all of them required, in binding order: X(result, name, parameters).
/// Everything else about them derives from this list.
// clang-format off
#define JLINK_FUNCTIONS(X)                                                                                             \
    X(std::uint8_t,  JLINKARM_IsOpen,                     ())                                                          \
    X(const char*,   JLINKARM_OpenEx,                     (JLinkLogHandler log, JLinkLogHandler error))                \
    X(void,          JLINKARM_Close,                      ())                                                          \
    X(void,          JLINKARM_EnableLogCom,               (JLinkLogHandler log))                                       \
    X(std::uint8_t,  JLINKARM_IsConnected,                ())                                                          \
    X(std::int32_t,  JLINKARM_Connect,                    ())                                                          \
    X(std::int32_t,  JLINKARM_GetSN,                      ())                                                          \
    X(void,          JLINKARM_GetFirmwareString,          (char* text, std::uint32_t size))                            \
    X(std::uint8_t,  JLINKARM_IsHalted,                   ())                                                          \
    X(std::uint8_t,  JLINKARM_Halt,                       ())                                                          \
    X(void,          JLINKARM_Go,                         ())                                                          \
    X(std::uint8_t,  JLINKARM_Step,                       ())                                                          \
    X(std::uint32_t, JLINKARM_GetDLLVersion,              ())                                                          \
    X(std::uint8_t,  JLINKARM_HasError,                   ())                                                          \
    X(void,          JLINKARM_ClrError,                   ())                                                          \
    X(std::uint32_t, JLINKARM_EMU_GetNumDevices,          ())                                                          \
    X(std::int32_t,  JLINKARM_EMU_GetList,                (std::uint32_t host_interfaces, JLinkProbeRecord* probes,    \
                                                           std::uint32_t capacity))                                    \
    X(std::int32_t,  JLINKARM_EMU_SelectByUSBSN,          (std::uint32_t serial_number))                               \
    X(std::int32_t,  JLINKARM_ExecCommand,                (const char* command, char* error_text, std::int32_t size))  \
    X(std::int32_t,  JLINKARM_GetHWStatus,                (JLinkHardwareStatus* status))                               \
    X(void,          JLINKARM_TIF_Select,                 (std::int32_t target_interface))                             \
    X(void,          JLINKARM_SetSpeed,                   (std::uint32_t kilohertz))                                   \
    X(std::int32_t,  JLINKARM_ReadMem,                    (std::uint32_t address, std::uint32_t length, void* data))   \
    X(std::int32_t,  JLINKARM_ReadMemU32,                 (std::uint32_t address, std::uint32_t count,                 \
                                                           std::uint32_t* data, std::uint8_t* status))                 \
    X(std::int32_t,  JLINKARM_WriteMem,                   (std::uint32_t address, std::uint32_t length,                \
                                                           const void* data))                                          \
    X(std::int32_t,  JLINKARM_WriteU32,                   (std::uint32_t address, std::uint32_t value))                \
    X(std::uint32_t, JLINKARM_ReadReg,                    (std::uint32_t index))                                       \
    X(std::uint8_t,  JLINKARM_WriteReg,                   (std::uint32_t index, std::uint32_t value))                  \
    X(void,          JLINKARM_SetResetType,               (std::int32_t type))                                         \
    X(std::int32_t,  JLINKARM_Reset,                      ())                                                          \
    X(void,          JLINKARM_ClrRESET,                   ())                                                          \
    X(void,          JLINKARM_SetRESET,                   ())                                                          \
    X(std::int32_t,  JLINKARM_CORESIGHT_ReadAPDPReg,      (std::uint8_t index, std::uint8_t access_port,               \
                                                           std::uint32_t* data))                                       \
    X(std::int32_t,  JLINKARM_CORESIGHT_WriteAPDPReg,     (std::uint8_t index, std::uint8_t access_port,               \
                                                           std::uint32_t data))                                        \
    X(std::int32_t,  JLINKARM_CORESIGHT_Configure,        (const char* configuration))                                 \
    X(std::int32_t,  JLINK_RTTERMINAL_Control,            (std::uint32_t command, void* record))                       \
    X(std::int32_t,  JLINK_RTTERMINAL_Read,               (std::uint32_t channel, void* data, std::uint32_t size))     \
    X(std::int32_t,  JLINK_RTTERMINAL_Write,              (std::uint32_t channel, const void* data, std::uint32_t size))
// clang-format on
