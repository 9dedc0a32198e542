/*
 * The 38 functions that the simulated J-Link library exports under the J-Link library's names, with the types that host
 * programs call them by. Results that hosts read as a byte are declared as an unsigned byte; "failure" below is what
 * the host must look for.
 */
#ifndef JLINKARM_API_H
#define JLINKARM_API_H

/* NOLINTBEGIN(modernize-deprecated-headers, modernize-use-using): C reads this header, too. */
#include <stdint.h>

#if defined(_WIN32)
#define JLINKARM_API /* a module-definition file exports them, undecorated */
#else
#define JLINKARM_API __attribute__((visibility("default")))
#endif

#if defined(_WIN32) && !defined(_WIN64)
#define JLINKARM_CALL __stdcall
#else
#define JLINKARM_CALL
#endif

#if defined(__cplusplus)
extern "C" {
#endif

/* Receives one zero-terminated text, valid during the call. */
typedef void(JLINKARM_CALL* jlinkarm_log_t)(const char* text);

/* One probe in the list of JLINKARM_EMU_GetList. */
typedef struct jlinkarm_probe_record_t
{
    uint32_t serial_number;
    uint32_t connection;   /* as in the mask of JLINKARM_EMU_GetList: 1 is USB */
    uint8_t reserved[256]; /* zero */
} jlinkarm_probe_record_t;

/* What the probe measures at the target connector. */
typedef struct jlinkarm_hardware_status_t
{
    uint16_t supply_millivolts;
    uint8_t pins[6]; /* levels of the connector's lines; only the reset line, the fifth, is driven here */
} jlinkarm_hardware_status_t;

/* X(result, name, parameters) for each of them. */
/* clang-format off */
#define JLINKARM_FUNCTIONS(X)                                                                                          \
    /* Probe session. OpenEx: null on success, else the error text, valid until the next call. */                      \
    X(uint8_t,     JLINKARM_IsOpen,                 (void))                                                            \
    X(const char*, JLINKARM_OpenEx,                 (jlinkarm_log_t log, jlinkarm_log_t error))                        \
    X(void,        JLINKARM_Close,                  (void))                                                            \
    X(void,        JLINKARM_EnableLogCom,           (jlinkarm_log_t log))                                              \
    X(uint8_t,     JLINKARM_IsConnected,            (void))                                                            \
    X(int32_t,     JLINKARM_Connect,                (void)) /* negative is failure */                                  \
    X(int32_t,     JLINKARM_GetSN,                  (void)) /* negative is failure */                                  \
    X(void,        JLINKARM_GetFirmwareString,      (char* buffer, uint32_t size))                                     \
    /* Run control. */                                                                                                 \
    X(uint8_t,     JLINKARM_IsHalted,               (void)) /* 0 running, 1 halted, 0xFF failure */                    \
    X(uint8_t,     JLINKARM_Halt,                   (void)) /* nonzero is failure */                                   \
    X(void,        JLINKARM_Go,                     (void))                                                            \
    X(uint8_t,     JLINKARM_Step,                   (void)) /* nonzero is failure */                                   \
    /* Library. Its version is major * 10000 + minor * 100 + revision. */                                              \
    X(uint32_t,    JLINKARM_GetDLLVersion,          (void))                                                            \
    X(uint8_t,     JLINKARM_HasError,               (void))                                                            \
    X(void,        JLINKARM_ClrError,               (void))                                                            \
    /* Probes on USB. Interfaces is a mask, 1 is USB; GetList fills at most `capacity` records, and returns how        \
       many probes there are. */                                                                                       \
    X(uint32_t,    JLINKARM_EMU_GetNumDevices,      (void))                                                            \
    X(int32_t,     JLINKARM_EMU_GetList,            (uint32_t interfaces, jlinkarm_probe_record_t* records,            \
                                                     uint32_t capacity))                                               \
    X(int32_t,     JLINKARM_EMU_SelectByUSBSN,      (uint32_t serial_number)) /* negative is failure */                \
    /* Settings. A failed command leaves a text in `error`; the result is 0 or -1. */                                  \
    X(int32_t,     JLINKARM_ExecCommand,            (const char* command, char* error, int32_t error_size))            \
    X(int32_t,     JLINKARM_GetHWStatus,            (jlinkarm_hardware_status_t* status)) /* 1 is failure */           \
    X(int32_t,     JLINKARM_TIF_Select,             (int32_t interface_number)) /* 0 JTAG, 1 SWD; negative is failure */\
    X(void,        JLINKARM_SetSpeed,               (uint32_t kilohertz))                                              \
    /* Target memory. ReadMemU32: items read, or negative; each item's status byte is nonzero when it could not be     \
       read. */                                                                                                        \
    X(int32_t,     JLINKARM_ReadMem,                (uint32_t addr, uint32_t length,                                   \
                                                     void* buffer)) /* nonzero is failure */                           \
    X(int32_t,     JLINKARM_ReadMemU32,             (uint32_t addr, uint32_t count, uint32_t* data, uint8_t* status))  \
    X(int32_t,     JLINKARM_WriteMem,               (uint32_t addr, uint32_t length,                                   \
                                                     const void* data)) /* bytes, or negative */                       \
    X(int32_t,     JLINKARM_WriteU32,               (uint32_t addr, uint32_t value)) /* nonzero is failure */          \
    /* CPU registers: 0 to 15, 16 XPSR, 17 MSP, 18 PSP. */                                                             \
    X(uint32_t,    JLINKARM_ReadReg,                (uint32_t index))                                                  \
    X(uint8_t,     JLINKARM_WriteReg,               (uint32_t index, uint32_t value)) /* 1 is failure */               \
    /* Resets. ClrRESET drives the reset line low, SetRESET releases it. */                                            \
    X(int32_t,     JLINKARM_SetResetType,           (int32_t type)) /* negative is failure */                          \
    X(int32_t,     JLINKARM_Reset,                  (void)) /* negative is failure */                                  \
    X(void,        JLINKARM_ClrRESET,               (void))                                                            \
    X(void,        JLINKARM_SetRESET,               (void))                                                            \
    /* Debug port (flag 0) and access port (flag 1) registers, index 0 to 3. Negative is failure. */                   \
    X(int32_t,     JLINKARM_CORESIGHT_ReadAPDPReg,  (uint8_t index, uint8_t access_port, uint32_t* value))             \
    X(int32_t,     JLINKARM_CORESIGHT_WriteAPDPReg, (uint8_t index, uint8_t access_port, uint32_t value))              \
    X(int32_t,     JLINKARM_CORESIGHT_Configure,    (const char* text))                                                \
    /* RTT. Negative is failure. */                                                                                    \
    X(int32_t,     JLINK_RTTERMINAL_Control,        (uint32_t command, void* record))                                  \
    X(int32_t,     JLINK_RTTERMINAL_Read,           (uint32_t channel, void* buffer, uint32_t size))                   \
    X(int32_t,     JLINK_RTTERMINAL_Write,          (uint32_t channel, const void* data, uint32_t size))
/* clang-format on */

#define JLINKARM_DECLARE(result, name, parameters) JLINKARM_API result JLINKARM_CALL name parameters;
JLINKARM_FUNCTIONS(JLINKARM_DECLARE)
#undef JLINKARM_DECLARE

#if defined(__cplusplus)
}
#endif

/* NOLINTEND(modernize-deprecated-headers, modernize-use-using) */
#endif
