/*
 * jlinkarm_birch_tessit: program, erase, inspect, protect, recover and debug Birch microcontrollers over a J-Link.
 *
 * Words. "dll" is SEGGER's J-Link library, "emu" is the probe, "device" is the target chip.
 *
 * Order of calls. TESSIT_open_dll, then TESSIT_connect_to_emu_with_snr or _without_snr, then the work, then
 * TESSIT_disconnect_from_emu and TESSIT_close_dll. Functions that need the target connect to it on demand. A call out
 * of order is refused with ERR_WRONG_STATE and a log line that names the call and the missing step.
 *
 * State. One J-Link library, one probe session and one target for each loaded copy of this library. Nothing is kept
 * between loads. The library starts no thread and takes no lock: make one call at a time.
 *
 * Buffers belong to the caller; no pointer to them is kept beyond the call.
 *
 * Failures. Every function but TESSIT_close_dll returns a result_code_t. Checks are made in the order in which a
 * function's comment lists its errors, and the first that fails ends the call. Nothing is rolled back: what was done
 * before a failure stays done. No exception crosses this interface.
 *
 * Abbreviations used in the comments below, in the order in which they are checked:
 *   [open]    ERR_WRONG_STATE: TESSIT_open_dll has not been called.
 *   [probe]   ERR_WRONG_STATE: no probe session is open.
 *   [ready]   the device-ready step. Nothing to do when the device is connected. Otherwise the protection status is
 *             read through the CTRL-AP: ERR_PROTECTED (without a log line) when the chip is protected; and the device
 *             is connected: ERR_TARGET_CONNECT_FAILED, ERR_UNKNOWN_DEVICE.
 *   [halt]    the CPU is halted, and stays halted after the call.
 *   [jlink]   ERR_JLINK_CALL_FAILED: a J-Link function reported failure; a log line names it and gives its result.
 *             Wherever the J-Link library is called this can be the result; it is listed where it says more than that.
 *   [version] ERR_UNEXPECTED_CHIP_VERSION (without a log line): the chip version is not one of a Birch chip.
 */
#ifndef JLINKARM_BIRCH_TESSIT_H
#define JLINKARM_BIRCH_TESSIT_H /* NOLINTBEGIN(modernize-*): C as well as C++ */

#include <stdbool.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(TESSIT_BUILDING_LIBRARY)
#define TESSIT_API __declspec(dllexport)
#else
#define TESSIT_API __declspec(dllimport)
#endif
#else
#define TESSIT_API __attribute__((visibility("default")))
#endif

/* The platform's standard calling convention. */
#if defined(_WIN32) && !defined(_WIN64)
#define TESSIT_CALL __stdcall
#else
#define TESSIT_CALL
#endif

/* Enumerations are 32 bits wide in every language, and any value that a caller passes is well defined. */
#if defined(__cplusplus)
#define TESSIT_ENUM(name, underlying) enum name : underlying
#else
#define TESSIT_ENUM(name, underlying)                                                                                  \
    typedef underlying name;                                                                                           \
    enum
#endif

#if defined(__cplusplus)
extern "C" {
#endif

/* Results. 0 is success, every failure is negative. A code is passed up unchanged from where it arose. */
TESSIT_ENUM(result_code_t, int32_t){
    RESULT_OK = 0,
    ERR_NO_MEMORY = -1,                 /* a buffer that the operation needs could not be allocated */
    ERR_WRONG_STATE = -2,               /* the call is out of order */
    ERR_BAD_ARGUMENT = -3,              /* an argument is invalid */
    ERR_UNSUPPORTED_ON_DEVICE = -4,     /* not available on the connected chip version */
    ERR_UNKNOWN_DEVICE = -5,            /* the identification registers name no known chip */
    ERR_PROBE_NOT_FOUND = -10,          /* no probe with the serial number asked for */
    ERR_TARGET_CONNECT_FAILED = -11,    /* the probe could not connect to the target */
    ERR_TARGET_LOW_VOLTAGE = -12,       /* the target's supply is below 1500 mV */
    ERR_NO_PROBE_ATTACHED = -13,        /* no probe is attached */
    ERR_FLASH_CONTROLLER_TIMEOUT = -20, /* the flash controller (or the external flash) never became ready */
    ERR_RECOVER_FAILED = -21,           /* recovery did not succeed */
    ERR_PROTECTED = -90,                /* readback protection forbids the connection that the operation needs */
    ERR_JLINK_LOAD_FAILED = -101,       /* the J-Link library does not load or lacks a function */
    ERR_JLINK_CALL_FAILED = -102,       /* a J-Link function reported failure */
    ERR_JLINK_TOO_OLD = -103,           /* the J-Link library is older than 5.02 */
    ERR_UNEXPECTED_CHIP_VERSION = -255, /* the operation does not handle the chip version read from the target */
};

/* Chip families. This library serves one; the Alder family is known to chip_version_t only. */
TESSIT_ENUM(chip_family_t, uint32_t){BIRCH_FAMILY = 1};

/* Chip versions. ALDER values and UNKNOWN are never produced; FUTURE is an unlisted revision of a known part. */
TESSIT_ENUM(chip_version_t, uint32_t){
    UNKNOWN = 0,
    ALDER_MX_VA_REV1 = 1,
    ALDER_MX_VA_REV2 = 2,
    ALDER_MX_VA_REV3 = 3,
    ALDER_MX_VB_REV3 = 4,
    ALDER_MX_VC_REV3 = 5,
    ALDER_M2_VA_REV3 = 6,
    BIRCH_M1_VA_ENGA = 7,
    BIRCH_M1_VA_ENGB = 8,
    BIRCH_M1_VA_REV1 = 9,
    BIRCH_M2_VA_ENGA = 10,
    BIRCH_M1_VA_FUTURE = 11,
    BIRCH_M2_VA_FUTURE = 12,
    BIRCH_M3_VA_REV1 = 13,
    BIRCH_M3_VA_FUTURE = 14,
    BIRCH_M1_VB_REV1 = 15,
    BIRCH_M1_VB_FUTURE = 16,
    ALDER_M1_VB_REV3 = 17,
    BIRCH_M2_VA_REV1 = 18,
    BIRCH_M1_VA_REV2 = 19,
    BIRCH_M1_VB_REV2 = 20,
    BIRCH_M2_VA_ENGB = 21,
};

/* The name of a chip version, as the log has it; "INVALID" for a value that names none. */
static inline const char* chip_version_name(chip_version_t version)
{
    /* clang-format off */
    switch (version) {
    case UNKNOWN: return "UNKNOWN";
    case ALDER_MX_VA_REV1: return "ALDER_MX_VA_REV1";
    case ALDER_MX_VA_REV2: return "ALDER_MX_VA_REV2";
    case ALDER_MX_VA_REV3: return "ALDER_MX_VA_REV3";
    case ALDER_MX_VB_REV3: return "ALDER_MX_VB_REV3";
    case ALDER_MX_VC_REV3: return "ALDER_MX_VC_REV3";
    case ALDER_M2_VA_REV3: return "ALDER_M2_VA_REV3";
    case BIRCH_M1_VA_ENGA: return "BIRCH_M1_VA_ENGA";
    case BIRCH_M1_VA_ENGB: return "BIRCH_M1_VA_ENGB";
    case BIRCH_M1_VA_REV1: return "BIRCH_M1_VA_REV1";
    case BIRCH_M2_VA_ENGA: return "BIRCH_M2_VA_ENGA";
    case BIRCH_M1_VA_FUTURE: return "BIRCH_M1_VA_FUTURE";
    case BIRCH_M2_VA_FUTURE: return "BIRCH_M2_VA_FUTURE";
    case BIRCH_M3_VA_REV1: return "BIRCH_M3_VA_REV1";
    case BIRCH_M3_VA_FUTURE: return "BIRCH_M3_VA_FUTURE";
    case BIRCH_M1_VB_REV1: return "BIRCH_M1_VB_REV1";
    case BIRCH_M1_VB_FUTURE: return "BIRCH_M1_VB_FUTURE";
    case ALDER_M1_VB_REV3: return "ALDER_M1_VB_REV3";
    case BIRCH_M2_VA_REV1: return "BIRCH_M2_VA_REV1";
    case BIRCH_M1_VA_REV2: return "BIRCH_M1_VA_REV2";
    case BIRCH_M1_VB_REV2: return "BIRCH_M1_VB_REV2";
    case BIRCH_M2_VA_ENGB: return "BIRCH_M2_VA_ENGB";
    }
    /* clang-format on */
    return "INVALID";
}

/* Readback protection levels. A Birch chip knows only NONE and FULL. */
TESSIT_ENUM(readback_protection_status_t, uint32_t){NONE = 0, REGION_0 = 1, FULL = 2, BOTH = 3};

/* Origin of region 0. A Birch chip has no region 0. */
TESSIT_ENUM(region_0_source_t, uint32_t){NO_REGION_0 = 0};

/* CPU registers. */
TESSIT_ENUM(cpu_register_t, int32_t){
    R0 = 0,    R1 = 1,   R2 = 2,   R3 = 3,   R4 = 4,   R5 = 5,   R6 = 6,
    R7 = 7,    R8 = 8,   R9 = 9,   R10 = 10, R11 = 11, R12 = 12, R13 = 13, /* stack pointer in use */
    R14 = 14,                                                              /* link register */
    R15 = 15,                                                              /* program counter */
    XPSR = 16, MSP = 17, PSP = 18,
};

/* Power of a RAM section. */
TESSIT_ENUM(ram_power_status_t, uint32_t){RAM_SECTION_OFF = 0, RAM_SECTION_ON = 1};

/* Direction of an RTT channel: up is target to host, down is host to target. */
TESSIT_ENUM(rtt_direction_t, int32_t){UP_DIRECTION = 0, DOWN_DIRECTION = 1};

/* QSPI settings. The codes go unchanged into the peripheral's configuration registers. */
TESSIT_ENUM(qspi_read_mode_t, uint32_t){
    READ_MODE_CODE_0 = 0, READ_MODE_CODE_1 = 1, READ_MODE_CODE_2 = 2, READ_MODE_CODE_3 = 3, READ_MODE_CODE_4 = 4,
};
TESSIT_ENUM(qspi_write_mode_t, uint32_t){
    WRITE_MODE_CODE_0 = 0,
    WRITE_MODE_CODE_1 = 1,
    WRITE_MODE_CODE_2 = 2,
    WRITE_MODE_CODE_3 = 3,
};
TESSIT_ENUM(qspi_address_mode_t, uint32_t){
    ADDRESS_MODE_24BIT = 0, /* 3 address bytes */
    ADDRESS_MODE_32BIT = 1, /* 4 address bytes */
};
/* The serial clock divider minus one. */
TESSIT_ENUM(qspi_frequency_t, uint32_t){
    FREQ_DIV1 = 0, FREQ_DIV2 = 1, FREQ_DIV4 = 3, FREQ_DIV8 = 7, FREQ_DIV16 = 15,
};
TESSIT_ENUM(qspi_spi_mode_t, uint32_t){SPI_MODE_CODE_0 = 0, SPI_MODE_CODE_1 = 1};
TESSIT_ENUM(qspi_level_io_t, uint32_t){LEVEL_LOW = 0, LEVEL_HIGH = 1};
TESSIT_ENUM(qspi_page_program_size_t, uint32_t){PP_SIZE_CODE_0 = 0, PP_SIZE_CODE_1 = 1};

/* What TESSIT_qspi_erase erases. The address must be a multiple of the length; ERASEALL takes any address. */
TESSIT_ENUM(qspi_erase_len_t, int32_t){ERASE4KB = 0, ERASE64KB = 1, ERASEALL = 2, ERASE32KB = 3};

/* Configuration of the QSPI peripheral: 22 fields of 32 bits, in this order. Pins: 0 to 31 on port 0, 0 to 15 on
 * port 1. */
typedef struct qspi_init_config_t
{
    qspi_read_mode_t read_mode;
    qspi_write_mode_t write_mode;
    qspi_address_mode_t address_mode;
    qspi_frequency_t frequency;
    qspi_spi_mode_t spi_mode;
    uint32_t sck_delay;                           /* 0 to 255 */
    qspi_level_io_t custom_instruction_io2_level; /* level of line IO2 during custom instructions */
    qspi_level_io_t custom_instruction_io3_level; /* level of line IO3 during custom instructions */
    uint32_t CSN_pin;
    uint32_t CSN_port;
    uint32_t CLK_pin;
    uint32_t CLK_port;
    uint32_t DIO0_pin;
    uint32_t DIO0_port;
    uint32_t DIO1_pin;
    uint32_t DIO1_port;
    uint32_t DIO2_pin;
    uint32_t DIO2_port;
    uint32_t DIO3_pin;
    uint32_t DIO3_port;
    uint32_t WIP_index; /* 0 to 7: status register bit that is 1 while the flash writes or erases */
    qspi_page_program_size_t PPSize;
} qspi_init_config_t;

/*
 * Receives one log line per call, on the thread of the call in progress. The text is zero-terminated narrow characters
 * without any conversion, valid only during the call. A line is ". " once per nesting level beyond the first, the
 * prefix, "_", the name of the operation in progress and, if there is a message, the separator and the message; a
 * message of the library ends with a line feed. Texts longer than 511 characters arrive in pieces of 512. The callback
 * must not throw and must not call this library.
 */
typedef void(TESSIT_CALL* log_callback_t)(const char* line);

/* Parts of a line, for a callback that looks into it. */
#define TESSIT_LOG_PREFIX "Birch"
#define TESSIT_LOG_SEPARATOR ":\t"
/* Begins a message that is a text of the J-Link library. */
#define TESSIT_LOG_JLINK_MARK "JLink:\t"
/* Begin the messages that tell of progress; every other message of the library tells what went wrong. */
#define TESSIT_LOG_DEVICE_PROFILE "There is no generic Birch device"
#define TESSIT_LOG_DEVICE_VERSION "Device version is "

/* ---- Library lifecycle ------------------------------------------------------------------------------------------ */

/*
 * Load the J-Link library, bind its functions and attach the log callback.
 *   jlink_path  path of the J-Link library file, handed to the system loader unchanged
 *   log_cb      receives every log line from now on; may be null
 *   family      must be BIRCH_FAMILY
 * The callback is attached before any check, and detached again by every failure but the first.
 * Errors: ERR_WRONG_STATE already open (the session goes on, with the new callback); ERR_BAD_ARGUMENT jlink_path null;
 * ERR_BAD_ARGUMENT family; ERR_JLINK_LOAD_FAILED; ERR_JLINK_TOO_OLD older than 5.02.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_open_dll(const char* jlink_path, log_callback_t log_cb,
                                                     chip_family_t family);

/* Disconnect what is connected, unload the J-Link library and detach the callback. Does nothing when not open. */
TESSIT_API void TESSIT_CALL TESSIT_close_dll(void);

/*
 * Version of the J-Link library: major, minor and the revision letter, 'a' for the first, ' ' for none.
 * Errors: ERR_BAD_ARGUMENT major, minor, revision null, in this order; [open].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_dll_version(uint32_t* major, uint32_t* minor, char* revision);

/* Whether the library is open. Works in every state. Errors: ERR_BAD_ARGUMENT opened null. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_dll_open(bool* opened);

/* ---- Probe ------------------------------------------------------------------------------------------------------ */

/*
 * Serial numbers of the attached probes. Needs no probe session.
 *   serial_numbers      receives up to serial_numbers_len numbers; may be null when that is 0
 *   serial_numbers_len  capacity in entries
 *   num_available       number of probes attached, also when the array is shorter
 * Errors: ERR_BAD_ARGUMENT num_available null; ERR_BAD_ARGUMENT serial_numbers null with a length; [open];
 * ERR_NO_MEMORY; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_enum_emu_snr(uint32_t* serial_numbers, uint32_t serial_numbers_len,
                                                         uint32_t* num_available);

/* Whether a probe session is open. Errors: ERR_BAD_ARGUMENT is_pc_connected_to_emu null; [open]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_connected_to_emu(bool* is_pc_connected_to_emu);

/*
 * Open a session with the probe of this serial number.
 *   swd_speed_khz  125 to 50000
 * Errors: ERR_BAD_ARGUMENT speed; [open]; ERR_WRONG_STATE a session is open; ERR_NO_PROBE_ATTACHED;
 * ERR_PROBE_NOT_FOUND; ERR_JLINK_CALL_FAILED the session does not open or its set-up fails; ERR_TARGET_LOW_VOLTAGE
 * supply below 1500 mV. After a failure past ERR_WRONG_STATE no session is open.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_emu_with_snr(uint32_t serial_number, uint32_t swd_speed_khz);

/* As TESSIT_connect_to_emu_with_snr, with the probe that the J-Link library picks (never ERR_PROBE_NOT_FOUND). */
TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_emu_without_snr(uint32_t swd_speed_khz);

/*
 * Serial number of the connected probe, as read when it was connected.
 * Errors: ERR_BAD_ARGUMENT serial_number null; [open]; [probe].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_connected_emu_snr(uint32_t* serial_number);

/*
 * Firmware text of the connected probe, zero-terminated.
 *   buffer_size  bytes, 0 to 0x7FFFFFFF
 * Errors: ERR_BAD_ARGUMENT buffer null; ERR_BAD_ARGUMENT buffer_size; [open]; [probe].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_connected_emu_fwstr(char* buffer, uint32_t buffer_size);

/*
 * Close the probe session; without one there is nothing to do.
 * Errors: [open]; a failed write to the connected target, which leaves the session open.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_disconnect_from_emu(void);

/* ---- Device connection and identification ----------------------------------------------------------------------- */

/* Whether the device is connected. Errors: ERR_BAD_ARGUMENT is_emu_connected_to_device null; [open]; [probe]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_connected_to_device(bool* is_emu_connected_to_device);

/*
 * Connect to the device and identify it.
 * Errors: [open]; [probe]; ERR_WRONG_STATE already connected; ERR_PROTECTED (without a log line);
 * ERR_TARGET_CONNECT_FAILED; ERR_UNKNOWN_DEVICE, after which the device is disconnected again.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_device(void);

/* Drop the connection by restarting the probe session; errors: [open]; [probe]; those of opening a probe session. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_disconnect_from_device(void);

/*
 * Readback protection: NONE or FULL. A connected device is NONE without being asked.
 * Errors: ERR_BAD_ARGUMENT status null; [open]; [probe]; ERR_JLINK_CALL_FAILED, also (without a log line) when four
 * reads of a CTRL-AP register do not agree within 10 rounds.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_readback_status(readback_protection_status_t* status);

/* Chip version, never UNKNOWN. Errors: ERR_BAD_ARGUMENT version null; [open]; [probe]; [ready]; [halt];
 * ERR_UNKNOWN_DEVICE. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_device_version(chip_version_t* version);

/* Not available in this library: always ERR_WRONG_STATE; the argument is not looked at. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_device_family(chip_family_t* family);

/* ---- Protection and recovery ------------------------------------------------------------------------------------ */

/*
 * Turn readback protection on: programs the UICR APPROTECT word, restarts the probe session and resets the chip
 * through the CTRL-AP. Afterwards the device is not connected; TESSIT_recover is the only way back.
 *   desired_protection  FULL
 * Errors: ERR_BAD_ARGUMENT NONE; ERR_BAD_ARGUMENT REGION_0, BOTH; ERR_BAD_ARGUMENT any other value; [open]; [probe];
 * [ready]; ERR_UNSUPPORTED_ON_DEVICE on BIRCH_M1_VA_ENGA (without a log line); [version]; [halt];
 * ERR_FLASH_CONTROLLER_TIMEOUT; the errors of connecting to the probe; ERR_UNSUPPORTED_ON_DEVICE without a CTRL-AP.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_readback_protect(readback_protection_status_t desired_protection);

/*
 * Bring the chip back to a blank, unprotected, connected state: flash and UICR erased, all RAM powered, reset reasons
 * cleared. DESTROYS everything in the chip's flash. A protected chip is erased through the CTRL-AP: at most three
 * attempts of at most 10 s; the fastest takes a little over 0.5 s.
 * Errors: [open]; [probe]; the connection query's; ERR_RECOVER_FAILED for everything else.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_recover(void);

/*
 * Region 0: always size 0 (bytes) and NO_REGION_0. Works in every state and makes no probe access.
 * Errors: ERR_BAD_ARGUMENT size null; ERR_BAD_ARGUMENT source null.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_region_0_size_and_source(uint32_t* size, region_0_source_t* source);

/* ---- Reset and run control -------------------------------------------------------------------------------------- */

/* Reset the CPU through the J-Link library (reset type 8). Errors: [open]; [probe]; [ready]; [halt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_sys_reset(void);

/*
 * Connected: halt, system reset, run. Not connected: pulse the CTRL-AP reset register, which works on a protected chip.
 * Errors: [open]; [probe]; connected: ERR_UNSUPPORTED_ON_DEVICE on BIRCH_M1_VA_ENGA (without a log line), [version];
 * not connected: ERR_UNSUPPORTED_ON_DEVICE without a CTRL-AP (without a log line).
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_debug_reset(void);

/*
 * Drive the reset line low for 20 ms. Restarts the probe session; the device is not connected afterwards. Works on a
 * protected chip. Errors: [open]; [probe]; the errors of disconnecting from and connecting to the probe.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_pin_reset(void);

/* Halt the CPU. Errors: [open]; [probe]; [ready]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_halt(void);

/* Whether the CPU is halted. Errors: ERR_BAD_ARGUMENT is_device_halted null; [open]; [probe]; [ready]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_halted(bool* is_device_halted);

/* Halt, set the program counter, then the stack pointer, and run. Errors: [open]; [probe]; [ready]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_run(uint32_t pc, uint32_t sp);

/* Let a halted CPU run; nothing to do when it runs. Errors: [open]; [probe]; [ready]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_go(void);

/* Execute one instruction. Errors: [open]; [probe]; [ready]; ERR_WRONG_STATE the CPU is running; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_step(void);

/* ---- CPU registers ---------------------------------------------------------------------------------------------- */

/* Read a CPU register. Errors: ERR_BAD_ARGUMENT register_name; ERR_BAD_ARGUMENT register_data null; [open]; [probe];
 * [ready]; [halt]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_cpu_register(cpu_register_t register_name, uint32_t* register_data);

/* Write a CPU register. Errors: ERR_BAD_ARGUMENT register_name; [open]; [probe]; [ready]; [halt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_cpu_register(cpu_register_t register_name, uint32_t register_data);

/* ---- Memory -----------------------------------------------------------------------------------------------------
 * Addresses are target addresses of any region; the library classifies none and checks no range.
 * use_nvmc (0 false, anything else true) puts a write inside the flash controller's write bracket: needed for flash
 * and UICR, and for nothing else. Flash bits only clear; erase first.
 */

/* Read one word. Errors: ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe];
 * [ready]; [halt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_u32(uint32_t addr, uint32_t* data);

/* Write one word. Errors: ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe]; [ready]; [halt]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_u32(uint32_t addr, uint32_t data, uint8_t use_nvmc);

/* Read buffer_length bytes from any address. Errors: ERR_BAD_ARGUMENT buffer_length 0; ERR_BAD_ARGUMENT buffer null;
 * [open]; [probe]; [ready]; [halt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read(uint32_t addr, uint8_t* buffer, uint32_t buffer_length);

/*
 * Write buffer_length bytes. A tail of 1 to 3 bytes is merged into the word that holds it: the bytes after the end of
 * the buffer, up to the next multiple of 4, are rewritten with their contents.
 * Errors: ERR_BAD_ARGUMENT buffer_length 0; ERR_BAD_ARGUMENT buffer null; ERR_BAD_ARGUMENT addr not a multiple of 4;
 * [open]; [probe]; [ready]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write(uint32_t addr, const uint8_t* buffer, uint32_t buffer_length,
                                                  uint8_t use_nvmc);

/* Write one word of the factory information area, unlocked for it and locked again. Errors: ERR_BAD_ARGUMENT addr not a
 * multiple of 4; [open]; [probe]; [ready]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_ficrwrite_u32(uint32_t addr, uint32_t data);

/*
 * Write whole words of the factory information area. The address is not checked to lie in it.
 * Errors: ERR_BAD_ARGUMENT buffer_length 0; ERR_BAD_ARGUMENT buffer_length not a multiple of 4; ERR_BAD_ARGUMENT buffer
 * null; ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe]; [ready]; [halt]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_ficrwrite(uint32_t addr, const uint8_t* buffer, uint32_t buffer_length);

/* ---- Erase ------------------------------------------------------------------------------------------------------
 * Erases end with a read of one word (the mass erase: of two), whose failure is the export's although all is erased.
 * Errors, in this order: [open]; [probe]; [ready]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */

/* Erase the chip's flash through the flash controller's erase-all register. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_all(void);

/* Erase the page that holds addr. The address goes to the flash controller unchanged and unchecked. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_page(uint32_t addr);

/* Erase the user configuration area. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_uicr(void);

/* Erase through the mass-erase register, unlocked for it and locked again. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_masserase(void);

/* Lift the flash block protection and reset. Errors: [open]; [probe]; [ready]; [halt]; [version]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_disable_bprot(void);

/* ---- RAM power ----------------------------------------------------------------------------------------------------
 * Lengths are entries, sizes are bytes. The three read functions do not halt the CPU; the other three do.
 */

/* Number of RAM sections. Errors: ERR_BAD_ARGUMENT ram_sections_count null; [open]; [probe]; [ready]; [version]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_count(uint32_t* ram_sections_count);

/* Size of each RAM section; entries beyond the count stay untouched. Errors: ERR_BAD_ARGUMENT ram_sections_size null;
 * [open]; [probe]; [ready]; [version]; ERR_BAD_ARGUMENT ram_sections_size_len below the count. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_size(uint32_t* ram_sections_size,
                                                                   uint32_t ram_sections_size_len);

/* Power of each RAM section; entries beyond the count stay untouched. Errors: ERR_BAD_ARGUMENT
 * ram_sections_power_status null; [open]; [probe]; [ready]; [version]; ERR_BAD_ARGUMENT length below the count. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_power_status(
    ram_power_status_t* ram_sections_power_status, uint32_t ram_sections_power_status_len);

/*
 * Deprecated: number of RAM sections, size of one, and the power of each when an array is given. It cannot tell
 * sections of different sizes apart, so BIRCH_M2 chips refuse it; use the three functions above. Errors:
 * ERR_BAD_ARGUMENT ram_sections_number null; ERR_BAD_ARGUMENT ram_sections_size null; ERR_BAD_ARGUMENT
 * ram_sections_power_status null with a length; [open]; [probe]; [ready]; [halt]; ERR_UNSUPPORTED_ON_DEVICE on
 * BIRCH_M2; [version]; ERR_BAD_ARGUMENT a length that is not 0 and below the count (count and size are set by then).
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_ram_powered(ram_power_status_t* ram_sections_power_status,
                                                           uint32_t ram_sections_power_status_len,
                                                           uint32_t* ram_sections_number, uint32_t* ram_sections_size);

/* Power all RAM sections on. Errors: [open]; [probe]; [ready]; [halt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_power_ram_all(void);

/* Power one RAM section off; its content is lost. Errors: [open]; [probe]; [ready]; [halt]; [version];
 * ERR_BAD_ARGUMENT section_index not below the count. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_unpower_ram_section(uint32_t section_index);

/* ---- Debug port and access port registers --------------------------------------------------------------------------
 * Raw CoreSight accesses (ARM Debug Interface v5), for a probe session without a device connection. SELECT is written
 * before every AP access and every DP access at address 0x4; CoreSight is configured and debug power requested on first
 * use.
 *   reg_addr  a multiple of 4. DP: bits 3:0 the register, bits 7:4 the bank for address 0x4. AP: bits 7:4 the bank.
 *   ap_index  0 to 255; 1 is the CTRL-AP
 * Errors, after the arguments': [open]; [probe]; ERR_WRONG_STATE the device is connected (without a log line); [jlink].
 */

/* Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT SELECT, which
 * cannot be read; then as above. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_debug_port_register(uint8_t reg_addr, uint32_t* data);

/* Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; then as above. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_debug_port_register(uint8_t reg_addr, uint32_t data);

/* Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; ERR_BAD_ARGUMENT data null; then as above. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_access_port_register(uint8_t ap_index, uint8_t reg_addr,
                                                                      uint32_t* data);

/* Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; then as above. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_access_port_register(uint8_t ap_index, uint8_t reg_addr,
                                                                       uint32_t data);

/* ---- RTT -----------------------------------------------------------------------------------------------------------
 * [rtt] stands for: ERR_WRONG_STATE TESSIT_rtt_start has not been called; [open]; [probe]; ERR_WRONG_STATE the
 * connection to the device has been lost. The started state outlives a lost connection and a closed library; only
 * TESSIT_rtt_stop ends it.
 */

/* Fix the control block's target address for the next start. Errors: ERR_WRONG_STATE RTT is started; [open]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_set_control_block_address(uint32_t address);

/* Start RTT, with the fixed address or searching the chip's RAM. Errors: ERR_WRONG_STATE already started; [open];
 * [probe]; [ready]; [version]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_start(void);

/* Whether the control block has been found. Errors: ERR_BAD_ARGUMENT is_control_block_found null; [rtt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_is_control_block_found(bool* is_control_block_found);

/* Stop RTT and forget the fixed address. Errors: [rtt]; [jlink], which leaves it started. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_stop(void);

/* Whether RTT is started. Errors: ERR_BAD_ARGUMENT started null; [open]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_rtt_started(bool* started);

/* Read up to data_len bytes (0 allowed) of an up channel; *data_read may be 0. Errors: ERR_BAD_ARGUMENT data null;
 * ERR_BAD_ARGUMENT data_read null; [rtt]; [jlink] also while the control block is not found; ERR_BAD_ARGUMENT no such
 * channel; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read(uint32_t channel_index, uint8_t* data, uint32_t data_len,
                                                     uint32_t* data_read);

/* Write up to data_len bytes (0 allowed) to a down channel; *data_written may be less. Errors: as TESSIT_rtt_read. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_write(uint32_t channel_index, const uint8_t* data, uint32_t data_len,
                                                      uint32_t* data_written);

/* Number of channels in each direction. Errors: ERR_BAD_ARGUMENT down_channel_number null; ERR_BAD_ARGUMENT
 * up_channel_number null; [rtt]; [jlink] also while the control block is not found. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read_channel_count(uint32_t* down_channel_number,
                                                                   uint32_t* up_channel_number);

/*
 * Name and buffer size (bytes) of a channel. channel_name_len is 32 or more; 32 bytes are written, padded with
 * zeros. A name of all 32 bytes gets its terminator as a 33rd byte where there is room, and none with a length of 32.
 * Errors: ERR_BAD_ARGUMENT channel_name null; channel_size null; channel_name_len; dir; [rtt]; [jlink];
 * ERR_BAD_ARGUMENT no such channel; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read_channel_info(uint32_t channel_index, rtt_direction_t dir,
                                                                  char* channel_name, uint32_t channel_name_len,
                                                                  uint32_t* channel_size);

/* ---- QSPI ----------------------------------------------------------------------------------------------------------
 * External flash behind the QSPI peripheral of BIRCH_M2 chips. Transfers go through two staging areas in target RAM,
 * 4096 bytes at 0x20000000 (read) and 4096 bytes at 0x20001000 (write), which belong to the library while initialized.
 * [qspi] stands for: ERR_UNSUPPORTED_ON_DEVICE on other Birch models (without a log line); [version].
 * [transfer] stands for: ERR_WRONG_STATE TESSIT_qspi_init has not been called; [open]; [probe]; ERR_WRONG_STATE the
 * connection to the device has been lost; [halt].
 * Waits are bounded: 10 s for the peripheral's ready event, 512 s for an erase. A bound that is reached logs one line
 * and returns ERR_FLASH_CONTROLLER_TIMEOUT.
 */

/*
 * Configure and activate the peripheral.
 *   retain_ram   0 false, anything else true: keep the staging areas' content and put it back at TESSIT_qspi_uninit
 *   init_params  see qspi_init_config_t; its fields are checked in this order: read_mode, write_mode, address_mode,
 *                frequency, spi_mode, custom_instruction_io2_level, custom_instruction_io3_level, sck_delay, then port
 *                and pin of CSN, CLK, DIO0 to DIO3, then WIP_index, PPSize
 * Errors: ERR_BAD_ARGUMENT init_params null; ERR_BAD_ARGUMENT a field; ERR_WRONG_STATE already initialized; [open];
 * [probe]; [ready]; [qspi]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_init(uint8_t retain_ram, const qspi_init_config_t* init_params);

/* Deactivate and disable the peripheral, initialized or not, and put retained RAM back. Errors: [open]; [probe];
 * [ready]; [qspi]; [halt]; [jlink]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_uninit(void);

/* Whether QSPI is initialized. Errors: ERR_BAD_ARGUMENT initialized null; [open]. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_qspi_init(bool* initialized);

/* Read data_len bytes at a flash address. Errors: ERR_BAD_ARGUMENT data null; data_len 0; addr beyond 24 bits in that
 * address mode; [transfer]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_read(uint32_t addr, uint8_t* data, uint32_t data_len);

/* Write data_len bytes at a flash address; other bytes of the first and last word are written as 0xFF, which leaves
 * them. Does not wait for the flash's write-in-progress bit. Errors: as TESSIT_qspi_read. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_write(uint32_t addr, const uint8_t* data, uint32_t data_len);

/* Erase and wait for the flash. Errors: ERR_BAD_ARGUMENT length; addr beyond 24 bits in that address mode; addr not
 * aligned to length; [transfer]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT. */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_erase(uint32_t addr, qspi_erase_len_t length);

/*
 * Send an instruction of the caller's to the flash.
 *   instruction_length  bytes: the opcode and the data; 1 or more, more than 9 is sent as a long frame
 *   data_in             instruction_length - 1 bytes to send after the opcode; null sends zeros
 *   data_out            receives instruction_length - 1 bytes; may be null
 * Errors: ERR_BAD_ARGUMENT instruction_length 0; [transfer]; ERR_UNSUPPORTED_ON_DEVICE more than 9 on BIRCH_M2_VA_ENGA;
 * ERR_NO_MEMORY; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_custom(uint8_t instruction_code, uint32_t instruction_length,
                                                        const uint8_t* data_in, uint8_t* data_out);

#if defined(__cplusplus)
}
#endif

#endif /* NOLINTEND(modernize-*) */
