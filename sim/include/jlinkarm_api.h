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
#define JLINKARM_API __declspec(dllexport)
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
    uint8_t reserved[260]; /* zero */
} jlinkarm_probe_record_t;

/* What the probe measures at the target connector. */
typedef struct jlinkarm_hardware_status_t
{
    uint16_t supply_millivolts;
    uint8_t pins[6]; /* levels of the connector's lines; only the reset line, the fifth, is driven here */
} jlinkarm_hardware_status_t;

/* Probe session. */
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_IsOpen(void);
/* Null on success, else the error text, valid until the next call. */
JLINKARM_API const char* JLINKARM_CALL JLINKARM_OpenEx(jlinkarm_log_t log, jlinkarm_log_t error);
JLINKARM_API void JLINKARM_CALL JLINKARM_Close(void);
JLINKARM_API void JLINKARM_CALL JLINKARM_EnableLogCom(jlinkarm_log_t log);
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_IsConnected(void);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_Connect(void); /* negative is failure */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_GetSN(void);   /* negative is failure */
JLINKARM_API void JLINKARM_CALL JLINKARM_GetFirmwareString(char* buffer, uint32_t size);

/* Run control. */
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_IsHalted(void); /* 0 running, 1 halted, 0xFF failure */
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_Halt(void);     /* nonzero is failure */
JLINKARM_API void JLINKARM_CALL JLINKARM_Go(void);
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_Step(void); /* nonzero is failure */

/* Library. */
JLINKARM_API uint32_t JLINKARM_CALL JLINKARM_GetDLLVersion(void); /* major * 10000 + minor * 100 + revision */
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_HasError(void);
JLINKARM_API void JLINKARM_CALL JLINKARM_ClrError(void);

/* Probes on USB. */
JLINKARM_API uint32_t JLINKARM_CALL JLINKARM_EMU_GetNumDevices(void);
/* Interfaces is a mask, 1 is USB. Fills at most `capacity` records; returns how many probes there are. */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_EMU_GetList(uint32_t interfaces, jlinkarm_probe_record_t* records,
                                                        uint32_t capacity);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_EMU_SelectByUSBSN(uint32_t serial_number); /* negative is failure */

/* Settings. A failed command leaves a text in `error`; the result is 0 or -1. */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_ExecCommand(const char* command, char* error, int32_t error_size);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_GetHWStatus(jlinkarm_hardware_status_t* status); /* 1 is failure */
JLINKARM_API void JLINKARM_CALL JLINKARM_TIF_Select(int32_t interface_number);               /* 0 JTAG, 1 SWD */
JLINKARM_API void JLINKARM_CALL JLINKARM_SetSpeed(uint32_t kilohertz);

/* Target memory. */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_ReadMem(uint32_t addr, uint32_t length,
                                                    void* buffer); /* nonzero is failure */
/* Items read, or negative; each item's status byte is nonzero when it could not be read. */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_ReadMemU32(uint32_t addr, uint32_t count, uint32_t* data, uint8_t* status);
/* Bytes written, or negative. */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_WriteMem(uint32_t addr, uint32_t length, const void* data);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_WriteU32(uint32_t addr, uint32_t value); /* nonzero is failure */

/* CPU registers: 0 to 15, 16 XPSR, 17 MSP, 18 PSP. */
JLINKARM_API uint32_t JLINKARM_CALL JLINKARM_ReadReg(uint32_t index);
JLINKARM_API uint8_t JLINKARM_CALL JLINKARM_WriteReg(uint32_t index, uint32_t value); /* 1 is failure */

/* Resets. */
JLINKARM_API void JLINKARM_CALL JLINKARM_SetResetType(int32_t type);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_Reset(void); /* negative is failure */
JLINKARM_API void JLINKARM_CALL JLINKARM_ClrRESET(void); /* drives the reset line low */
JLINKARM_API void JLINKARM_CALL JLINKARM_SetRESET(void); /* releases it */

/* Debug port (flag 0) and access port (flag 1) registers, index 0 to 3. Negative is failure. */
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_CORESIGHT_ReadAPDPReg(uint8_t index, uint8_t access_port, uint32_t* value);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_CORESIGHT_WriteAPDPReg(uint8_t index, uint8_t access_port, uint32_t value);
JLINKARM_API int32_t JLINKARM_CALL JLINKARM_CORESIGHT_Configure(const char* text);

/* RTT. Negative is failure. */
JLINKARM_API int32_t JLINKARM_CALL JLINK_RTTERMINAL_Control(uint32_t command, void* record);
JLINKARM_API int32_t JLINKARM_CALL JLINK_RTTERMINAL_Read(uint32_t channel, void* buffer, uint32_t size);
JLINKARM_API int32_t JLINKARM_CALL JLINK_RTTERMINAL_Write(uint32_t channel, const void* data, uint32_t size);

#if defined(__cplusplus)
}
#endif

/* NOLINTEND(modernize-deprecated-headers, modernize-use-using) */
#endif
