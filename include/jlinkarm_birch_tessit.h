/**
 * @file
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
 *  - [open]: ERR_WRONG_STATE, TESSIT_open_dll has not been called.
 *  - [probe]: ERR_WRONG_STATE, no probe session is open.
 *  - [ready]: the device-ready step. Nothing to do when the device is connected. Otherwise the protection status is
 *    read through the CTRL-AP: ERR_PROTECTED (without a log line) when the chip is protected; and the device is
 *    connected: ERR_TARGET_CONNECT_FAILED, ERR_UNKNOWN_DEVICE.
 *  - [halt]: the CPU is halted, and stays halted after the call.
 *  - [jlink]: ERR_JLINK_CALL_FAILED, a J-Link function reported failure; a log line names it and gives its result.
 *    Wherever the J-Link library is called this can be the result; it is listed where it says more than that.
 *  - [version]: the chip is identified; ERR_UNEXPECTED_CHIP_VERSION (without a log line) when it is no Birch chip.
 */
#ifndef JLINKARM_BIRCH_TESSIT_H
#define JLINKARM_BIRCH_TESSIT_H

/* NOLINTBEGIN(modernize-*): C as well as C++ */

#include <stdbool.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(TESSIT_BUILDING_LIBRARY) /* which has a module-definition file: it exports the names undecorated */
#define TESSIT_API
#else
#define TESSIT_API __declspec(dllimport)
#endif
#else
#define TESSIT_API __attribute__((visibility("default")))
#endif

/** The platform's standard calling convention. */
#if defined(_WIN32) && !defined(_WIN64)
#define TESSIT_CALL __stdcall
#else
#define TESSIT_CALL
#endif

/** Enumerations are 32 bits wide in every language, and any value that a caller passes is well defined. */
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

/** Results. 0 is success, every failure is negative. A code is passed up unchanged from where it arose. */
TESSIT_ENUM(result_code_t, int32_t){
    RESULT_OK = 0,
    ERR_NO_MEMORY = -1,                 /**< a buffer that the operation needs could not be allocated */
    ERR_WRONG_STATE = -2,               /**< the call is out of order */
    ERR_BAD_ARGUMENT = -3,              /**< an argument is invalid */
    ERR_UNSUPPORTED_ON_DEVICE = -4,     /**< not available on the connected chip version */
    ERR_UNKNOWN_DEVICE = -5,            /**< the identification registers name no known chip */
    ERR_PROBE_NOT_FOUND = -10,          /**< no probe with the serial number asked for */
    ERR_TARGET_CONNECT_FAILED = -11,    /**< the probe could not connect to the target */
    ERR_TARGET_LOW_VOLTAGE = -12,       /**< the target's supply is below 1500 mV */
    ERR_NO_PROBE_ATTACHED = -13,        /**< no probe is attached */
    ERR_FLASH_CONTROLLER_TIMEOUT = -20, /**< the flash controller (or the external flash) never became ready */
    ERR_RECOVER_FAILED = -21,           /**< recovery did not succeed */
    ERR_PROTECTED = -90,                /**< readback protection forbids the connection that the operation needs */
    ERR_JLINK_LOAD_FAILED = -101,       /**< the J-Link library does not load or lacks a function */
    ERR_JLINK_CALL_FAILED = -102,       /**< a J-Link function reported failure */
    ERR_JLINK_TOO_OLD = -103,           /**< the J-Link library is older than 5.02 */
    ERR_UNEXPECTED_CHIP_VERSION = -255, /**< the operation does not handle the chip version read from the target */
};

/** Chip families. This library serves one; the Alder family is known to chip_version_t only. */
TESSIT_ENUM(chip_family_t, uint32_t){BIRCH_FAMILY = 1};

/** Chip versions. ALDER values and UNKNOWN are never produced; FUTURE is an unlisted revision of a known part. */
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

/**
 * The name of a chip version, as the log has it.
 * @param[in] version any value
 * @return its name; "INVALID" for a value that names none
 */
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

/** Readback protection levels. A Birch chip knows only NONE and FULL. */
TESSIT_ENUM(readback_protection_status_t, uint32_t){NONE = 0, REGION_0 = 1, FULL = 2, BOTH = 3};

/** Origin of region 0. A Birch chip has no region 0. */
TESSIT_ENUM(region_0_source_t, uint32_t){NO_REGION_0 = 0};

/** CPU registers. */
TESSIT_ENUM(cpu_register_t, int32_t){
    R0 = 0,    R1 = 1,   R2 = 2,   R3 = 3,   R4 = 4,   R5 = 5,   R6 = 6,
    R7 = 7,    R8 = 8,   R9 = 9,   R10 = 10, R11 = 11, R12 = 12, R13 = 13, /**< stack pointer in use */
    R14 = 14,                                                              /**< link register */
    R15 = 15,                                                              /**< program counter */
    XPSR = 16, MSP = 17, PSP = 18,
};

/** Power of a RAM section. */
TESSIT_ENUM(ram_power_status_t, uint32_t){RAM_SECTION_OFF = 0, RAM_SECTION_ON = 1};

/** Direction of an RTT channel: up is target to host, down is host to target. */
TESSIT_ENUM(rtt_direction_t, int32_t){UP_DIRECTION = 0, DOWN_DIRECTION = 1};

/** How the external flash is read. The codes of all QSPI settings go unchanged into the peripheral's registers. */
TESSIT_ENUM(qspi_read_mode_t, uint32_t){
    READ_MODE_CODE_0 = 0, READ_MODE_CODE_1 = 1, READ_MODE_CODE_2 = 2, READ_MODE_CODE_3 = 3, READ_MODE_CODE_4 = 4,
};
/** How the external flash is written. */
TESSIT_ENUM(qspi_write_mode_t, uint32_t){
    WRITE_MODE_CODE_0 = 0,
    WRITE_MODE_CODE_1 = 1,
    WRITE_MODE_CODE_2 = 2,
    WRITE_MODE_CODE_3 = 3,
};
/** Length of the external flash's addresses. */
TESSIT_ENUM(qspi_address_mode_t, uint32_t){
    ADDRESS_MODE_24BIT = 0, /**< 3 address bytes */
    ADDRESS_MODE_32BIT = 1, /**< 4 address bytes */
};
/** The serial clock divider minus one. */
TESSIT_ENUM(qspi_frequency_t, uint32_t){
    FREQ_DIV1 = 0, FREQ_DIV2 = 1, FREQ_DIV4 = 3, FREQ_DIV8 = 7, FREQ_DIV16 = 15,
};
/** SPI mode. */
TESSIT_ENUM(qspi_spi_mode_t, uint32_t){SPI_MODE_CODE_0 = 0, SPI_MODE_CODE_1 = 1};
/** Level of a line. */
TESSIT_ENUM(qspi_level_io_t, uint32_t){LEVEL_LOW = 0, LEVEL_HIGH = 1};
/** Bytes that the external flash programs at once: 256 (code 0) or 512 (code 1). */
TESSIT_ENUM(qspi_page_program_size_t, uint32_t){PP_SIZE_CODE_0 = 0, PP_SIZE_CODE_1 = 1};

/** What TESSIT_qspi_erase erases. The address must be a multiple of the length; ERASEALL takes any address. */
TESSIT_ENUM(qspi_erase_len_t, int32_t){ERASE4KB = 0, ERASE64KB = 1, ERASEALL = 2, ERASE32KB = 3};

/** Configuration of the QSPI peripheral: 22 fields of 32 bits, in this order. Pins: 0 to 31 on port 0, 0 to 15 on
 * port 1. */
typedef struct qspi_init_config_t
{
    qspi_read_mode_t read_mode;                   /**< how it is read */
    qspi_write_mode_t write_mode;                 /**< how it is written */
    qspi_address_mode_t address_mode;             /**< length of its addresses */
    qspi_frequency_t frequency;                   /**< serial clock, a part of 32 MHz */
    qspi_spi_mode_t spi_mode;                     /**< SPI mode */
    uint32_t sck_delay;                           /**< 0 to 255: time between two frames, in units of 62.5 ns */
    qspi_level_io_t custom_instruction_io2_level; /**< level of line IO2 during custom instructions */
    qspi_level_io_t custom_instruction_io3_level; /**< level of line IO3 during custom instructions */
    uint32_t CSN_pin;                             /**< chip select: pin */
    uint32_t CSN_port;                            /**< chip select: port */
    uint32_t CLK_pin;                             /**< serial clock: pin */
    uint32_t CLK_port;                            /**< serial clock: port */
    uint32_t DIO0_pin;                            /**< data line 0: pin */
    uint32_t DIO0_port;                           /**< data line 0: port */
    uint32_t DIO1_pin;                            /**< data line 1: pin */
    uint32_t DIO1_port;                           /**< data line 1: port */
    uint32_t DIO2_pin;                            /**< data line 2: pin */
    uint32_t DIO2_port;                           /**< data line 2: port */
    uint32_t DIO3_pin;                            /**< data line 3: pin */
    uint32_t DIO3_port;                           /**< data line 3: port */
    uint32_t WIP_index;              /**< 0 to 7: status register bit that is 1 while the flash writes or erases */
    qspi_page_program_size_t PPSize; /**< bytes that it programs at once */
} qspi_init_config_t;

/**
 * Receives one log line per call, on the thread of the call in progress. The text is zero-terminated narrow characters
 * without any conversion, valid only during the call. A line is ". " once per nesting level beyond the first, the
 * prefix, "_", the name of the operation in progress and, if there is a message, the separator and the message; a
 * message of the library ends with a line feed. Texts longer than 511 characters arrive in pieces of 512. The callback
 * must not throw and must not call this library.
 */
typedef void(TESSIT_CALL* log_callback_t)(const char* line);

/** @name Parts of a line, for a callback that looks into it
 *  @{ */
/** The prefix, which begins every operation's name. */
#define TESSIT_LOG_PREFIX "Birch"
/** Between the operation's name and the message. */
#define TESSIT_LOG_SEPARATOR ":\t"
/** Begins a message that is a text of the J-Link library. */
#define TESSIT_LOG_JLINK_MARK "JLink:\t"
/** Begins a message that tells of progress, as TESSIT_LOG_DEVICE_VERSION does. Every other message of the library tells
 * what went wrong. */
#define TESSIT_LOG_DEVICE_PROFILE "There is no generic Birch device"
/** Begins the message that tells the chip version. */
#define TESSIT_LOG_DEVICE_VERSION "Device version is "
/** @} */

/** @name Library lifecycle
 *  @{ */

/**
 * Load the J-Link library, bind its functions and attach the log callback.
 * The callback is attached before any check, and detached again by every failure but the first.
 * @param[in] jlink_path path of the J-Link library file, handed to the system's loader unchanged
 * @param[in] log_cb     receives every log line from now on; may be null
 * @param[in] family     must be BIRCH_FAMILY
 * @return Errors: ERR_WRONG_STATE already open (the session goes on, with the new callback); ERR_BAD_ARGUMENT
 * jlink_path null; ERR_BAD_ARGUMENT family; ERR_JLINK_LOAD_FAILED it does not load, or lacks a function;
 * ERR_JLINK_TOO_OLD older than 5.02.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_open_dll(const char* jlink_path, log_callback_t log_cb,
                                                     chip_family_t family);

/**
 * Disconnect what is connected, unload the J-Link library and detach the callback. Does nothing when not open, and
 * tells of no failure but in the log.
 */
TESSIT_API void TESSIT_CALL TESSIT_close_dll(void);

/**
 * Version of the J-Link library.
 * @param[out] major    before the point
 * @param[out] minor    behind the point, 0 to 99
 * @param[out] revision a letter, 'a' for the first; ' ' for none
 * @return Errors: ERR_BAD_ARGUMENT major null; ERR_BAD_ARGUMENT minor null; ERR_BAD_ARGUMENT revision null; [open].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_dll_version(uint32_t* major, uint32_t* minor, char* revision);

/**
 * Whether the library is open. Works in every state.
 * @param[out] opened true from TESSIT_open_dll's success to TESSIT_close_dll
 * @return Errors: ERR_BAD_ARGUMENT opened null.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_dll_open(bool* opened);

/** @} */
/** @name Probe
 *  @{ */

/**
 * Serial numbers of the attached probes. Needs no probe session.
 * @param[out] serial_numbers     receives up to serial_numbers_len numbers; may be null when that is 0
 * @param[in]  serial_numbers_len capacity in entries
 * @param[out] num_available      number of probes attached, also when the array is shorter
 * @return Errors: ERR_BAD_ARGUMENT num_available null; ERR_BAD_ARGUMENT serial_numbers null with a length; [open];
 * ERR_NO_MEMORY; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_enum_emu_snr(uint32_t* serial_numbers, uint32_t serial_numbers_len,
                                                         uint32_t* num_available);

/**
 * Whether a probe session is open. The J-Link library is asked, so that a pulled cable shows.
 * @param[out] is_pc_connected_to_emu true while it is
 * @return Errors: ERR_BAD_ARGUMENT is_pc_connected_to_emu null; [open].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_connected_to_emu(bool* is_pc_connected_to_emu);

/**
 * Open a session with the probe of this serial number. The chip is not connected by it.
 * After a failure past ERR_WRONG_STATE no session is open.
 * @param[in] serial_number of the probe
 * @param[in] swd_speed_khz 125 to 50000 kHz
 * @return Errors: ERR_BAD_ARGUMENT speed; [open]; ERR_WRONG_STATE a session is open; ERR_NO_PROBE_ATTACHED;
 * ERR_PROBE_NOT_FOUND; ERR_JLINK_CALL_FAILED the session does not open, which is also so while another program holds
 * the probe, or its supply cannot be measured; ERR_TARGET_LOW_VOLTAGE supply below 1500 mV; ERR_JLINK_CALL_FAILED the
 * rest of the set-up fails.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_emu_with_snr(uint32_t serial_number, uint32_t swd_speed_khz);

/**
 * Open a session with the probe that the J-Link library picks.
 * @param[in] swd_speed_khz 125 to 50000 kHz
 * @return Errors: as TESSIT_connect_to_emu_with_snr, and never ERR_PROBE_NOT_FOUND.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_emu_without_snr(uint32_t swd_speed_khz);

/**
 * Serial number of the connected probe, as read when it was connected.
 * @param[out] serial_number of the probe
 * @return Errors: ERR_BAD_ARGUMENT serial_number null; [open]; [probe].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_connected_emu_snr(uint32_t* serial_number);

/**
 * Firmware text of the connected probe.
 * @param[out] buffer      receives the text, zero-terminated, as much as fits
 * @param[in]  buffer_size bytes, 0 to 0x7FFFFFFF
 * @return Errors: ERR_BAD_ARGUMENT buffer null; ERR_BAD_ARGUMENT buffer_size; [open]; [probe].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_connected_emu_fwstr(char* buffer, uint32_t buffer_size);

/**
 * Close the probe session; without one there is nothing to do.
 * @return Errors: [open]; [jlink] a failed write to the connected target, which leaves the session open.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_disconnect_from_emu(void);

/** @} */
/** @name Device connection and identification
 *  @{ */

/**
 * Whether the device is connected.
 * @param[out] is_emu_connected_to_device true while it is
 * @return Errors: ERR_BAD_ARGUMENT is_emu_connected_to_device null; [open]; [probe].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_connected_to_device(bool* is_emu_connected_to_device);

/**
 * Connect to the device and identify it. Functions that need it do so by themselves.
 * @return Errors: [open]; [probe]; ERR_WRONG_STATE already connected; ERR_PROTECTED (without a log line);
 * ERR_TARGET_CONNECT_FAILED; ERR_UNKNOWN_DEVICE, after which the device is disconnected again.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_device(void);

/**
 * Drop the connection by restarting the probe session; nothing to do without one.
 * @return Errors: [open]; [probe]; those of TESSIT_disconnect_from_emu and of TESSIT_connect_to_emu_with_snr.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_disconnect_from_device(void);

/**
 * Readback protection. A connected device is NONE without being asked; one that is not connected stays so.
 * @param[out] status NONE or FULL
 * @return Errors: ERR_BAD_ARGUMENT status null; [open]; [probe]; ERR_JLINK_CALL_FAILED, also (without a log line) when
 * four reads of a CTRL-AP register do not agree within 10 rounds.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_readback_status(readback_protection_status_t* status);

/**
 * Chip version.
 * @param[out] version of the chip, never UNKNOWN
 * @return Errors: ERR_BAD_ARGUMENT version null; [open]; [probe]; [ready]; [halt]; ERR_UNKNOWN_DEVICE.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_device_version(chip_version_t* version);

/**
 * Not available in this library.
 * @param[out] family is not looked at
 * @return Errors: always ERR_WRONG_STATE.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_device_family(chip_family_t* family);

/** @} */
/** @name Protection and recovery
 *  @{ */

/**
 * Turn readback protection on: programs the UICR APPROTECT word, restarts the probe session and resets the chip
 * through the CTRL-AP. Afterwards the device is not connected; TESSIT_recover is the only way back.
 * @param[in] desired_protection FULL
 * @return Errors: ERR_BAD_ARGUMENT NONE; ERR_BAD_ARGUMENT REGION_0, BOTH; ERR_BAD_ARGUMENT any other value; [open];
 * [probe]; [ready]; [version]; ERR_UNSUPPORTED_ON_DEVICE on BIRCH_M1_VA_ENGA (without a log line); [halt]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT; those of TESSIT_disconnect_from_emu and of TESSIT_connect_to_emu_with_snr;
 * ERR_UNSUPPORTED_ON_DEVICE without a CTRL-AP (without a log line).
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_readback_protect(readback_protection_status_t desired_protection);

/**
 * Bring the chip back to a blank, unprotected, connected state: flash and UICR erased, all RAM powered, reset reasons
 * cleared. DESTROYS everything in the chip's flash. A protected chip is erased through the CTRL-AP: at most three
 * attempts of at most 10 s; the fastest takes a little over 0.5 s.
 * @return Errors: [open]; [probe]; ERR_RECOVER_FAILED for whatever else fails: the connection, [halt], an erase.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_recover(void);

/**
 * Region 0, which a Birch chip does not have. Works in every state and makes no probe access.
 * @param[out] size   bytes, always 0
 * @param[out] source always NO_REGION_0
 * @return Errors: ERR_BAD_ARGUMENT size null; ERR_BAD_ARGUMENT source null.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_region_0_size_and_source(uint32_t* size, region_0_source_t* source);

/** @} */
/** @name Reset and run control
 *  @{ */

/**
 * Reset the CPU and its peripherals through the J-Link library (reset type 8), and leave it halted before its first
 * instruction.
 * @return Errors: [open]; [probe]; [ready]; [halt]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_sys_reset(void);

/**
 * Connected: halt, system reset, run. Not connected: pulse the CTRL-AP reset register, which works on a protected chip.
 * @return Errors: [open]; [probe]; connected: [version], ERR_UNSUPPORTED_ON_DEVICE on BIRCH_M1_VA_ENGA (without a log
 * line), [jlink]; not connected: [jlink], ERR_UNSUPPORTED_ON_DEVICE without a CTRL-AP (without a log line).
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_debug_reset(void);

/**
 * Drive the reset line low for 20 ms. Restarts the probe session; the device is not connected afterwards. Works on a
 * protected chip.
 * @return Errors: [open]; [probe]; those of TESSIT_disconnect_from_emu and of TESSIT_connect_to_emu_with_snr.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_pin_reset(void);

/**
 * Halt the CPU.
 * @return Errors: [open]; [probe]; [ready]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_halt(void);

/**
 * Whether the CPU is halted.
 * @param[out] is_device_halted true while it is
 * @return Errors: ERR_BAD_ARGUMENT is_device_halted null; [open]; [probe]; [ready]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_halted(bool* is_device_halted);

/**
 * Halt, set the program counter, then the stack pointer, and run.
 * @param[in] pc address of the first instruction
 * @param[in] sp initial stack pointer
 * @return Errors: [open]; [probe]; [ready]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_run(uint32_t pc, uint32_t sp);

/**
 * Let a halted CPU run; nothing to do when it runs.
 * @return Errors: [open]; [probe]; [ready]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_go(void);

/**
 * Execute one instruction.
 * @return Errors: [open]; [probe]; [ready]; [jlink]; ERR_WRONG_STATE the CPU is running; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_step(void);

/** @} */
/** @name CPU registers
 *  @{ */

/**
 * Read a CPU register.
 * @param[in]  register_name R0 to R15, XPSR, MSP or PSP
 * @param[out] register_data its value
 * @return Errors: ERR_BAD_ARGUMENT register_name; ERR_BAD_ARGUMENT register_data null; [open]; [probe]; [ready];
 * [halt].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_cpu_register(cpu_register_t register_name, uint32_t* register_data);

/**
 * Write a CPU register.
 * @param[in] register_name R0 to R15, XPSR, MSP or PSP
 * @param[in] register_data its new value
 * @return Errors: ERR_BAD_ARGUMENT register_name; [open]; [probe]; [ready]; [halt]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_cpu_register(cpu_register_t register_name, uint32_t register_data);

/** @} */
/**
 * @name Memory
 * Addresses are target addresses of any region; the library classifies none and checks no range.
 * use_nvmc (0 false, anything else true) puts a write inside the flash controller's write bracket: needed for flash
 * and UICR, and for nothing else. Flash bits only clear; erase first.
 * @{
 */

/**
 * Read one word.
 * @param[in]  addr a multiple of 4
 * @param[out] data the word
 * @return Errors: ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe]; [ready];
 * [halt]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_u32(uint32_t addr, uint32_t* data);

/**
 * Write one word.
 * @param[in] addr     a multiple of 4
 * @param[in] data     the word
 * @param[in] use_nvmc 0: plain; anything else: through the flash controller
 * @return Errors: ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe]; [ready]; [halt]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_u32(uint32_t addr, uint32_t data, uint8_t use_nvmc);

/**
 * Read bytes.
 * @param[in]  addr          any address
 * @param[out] buffer        receives the bytes
 * @param[in]  buffer_length bytes, 1 or more
 * @return Errors: ERR_BAD_ARGUMENT buffer_length 0; ERR_BAD_ARGUMENT buffer null; [open]; [probe]; [ready]; [halt];
 * [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read(uint32_t addr, uint8_t* buffer, uint32_t buffer_length);

/**
 * Write bytes. A tail of 1 to 3 bytes is merged into the word that holds it: the bytes after the end of the buffer, up
 * to the next multiple of 4, are rewritten with their contents.
 * @param[in] addr          a multiple of 4
 * @param[in] buffer        the bytes
 * @param[in] buffer_length bytes, 1 or more
 * @param[in] use_nvmc      0: plain; anything else: through the flash controller
 * @return Errors: ERR_BAD_ARGUMENT buffer_length 0; ERR_BAD_ARGUMENT buffer null; ERR_BAD_ARGUMENT addr not a multiple
 * of 4; [open]; [probe]; [ready]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write(uint32_t addr, const uint8_t* buffer, uint32_t buffer_length,
                                                  uint8_t use_nvmc);

/**
 * Write one word of the factory information area, unlocked for it and locked again. It can never be erased.
 * @param[in] addr a multiple of 4; not checked to lie in the area
 * @param[in] data the word
 * @return Errors: ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe]; [ready]; [halt]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_ficrwrite_u32(uint32_t addr, uint32_t data);

/**
 * Write whole words of the factory information area, unlocked for it and locked again. It can never be erased.
 * @param[in] addr          a multiple of 4; not checked to lie in the area
 * @param[in] buffer        the bytes
 * @param[in] buffer_length bytes, a multiple of 4, 4 or more
 * @return Errors: ERR_BAD_ARGUMENT buffer_length 0; ERR_BAD_ARGUMENT buffer_length not a multiple of 4;
 * ERR_BAD_ARGUMENT buffer null; ERR_BAD_ARGUMENT addr not a multiple of 4; [open]; [probe]; [ready]; [halt]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_ficrwrite(uint32_t addr, const uint8_t* buffer, uint32_t buffer_length);

/** @} */
/**
 * @name Erase
 * Erases end with a read of one word (the mass erase: of two), whose failure is the export's although all is erased.
 * [erase] stands for: [open]; [probe]; [ready]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 * @{
 */

/**
 * Erase the chip's flash and user configuration through the flash controller's erase-all register.
 * @return Errors: [erase].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_all(void);

/**
 * Erase the page that holds an address.
 * @param[in] addr any address in the page; it goes to the flash controller unchanged and unchecked
 * @return Errors: [erase].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_page(uint32_t addr);

/**
 * Erase the user configuration area.
 * @return Errors: [erase].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_uicr(void);

/**
 * Erase flash and user configuration through the mass-erase register, unlocked for it and locked again.
 * @return Errors: [erase].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_masserase(void);

/**
 * Lift the flash block protection and reset. The CPU is halted before its first instruction then.
 * @return Errors: [open]; [probe]; [ready]; [halt]; [version]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_disable_bprot(void);

/** @} */
/**
 * @name RAM power
 * Lengths are entries, sizes are bytes. TESSIT_read_ram_sections_count, TESSIT_read_ram_sections_size and
 * TESSIT_read_ram_sections_power_status do not halt the CPU; the other three do.
 * @{
 */

/**
 * Number of RAM sections.
 * @param[out] ram_sections_count sections, 6 to 22 by the chip
 * @return Errors: ERR_BAD_ARGUMENT ram_sections_count null; [open]; [probe]; [ready]; [version].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_count(uint32_t* ram_sections_count);

/**
 * Size of each RAM section.
 * @param[out] ram_sections_size     receives the sizes in bytes; entries beyond the count stay untouched
 * @param[in]  ram_sections_size_len capacity in entries, the count or more
 * @return Errors: ERR_BAD_ARGUMENT ram_sections_size null; [open]; [probe]; [ready]; [version]; ERR_BAD_ARGUMENT
 * ram_sections_size_len below the count.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_size(uint32_t* ram_sections_size,
                                                                   uint32_t ram_sections_size_len);

/**
 * Power of each RAM section.
 * @param[out] ram_sections_power_status     receives them; entries beyond the count stay untouched
 * @param[in]  ram_sections_power_status_len capacity in entries, the count or more
 * @return Errors: ERR_BAD_ARGUMENT ram_sections_power_status null; [open]; [probe]; [ready]; [version];
 * ERR_BAD_ARGUMENT ram_sections_power_status_len below the count; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_power_status(
    ram_power_status_t* ram_sections_power_status, uint32_t ram_sections_power_status_len);

/**
 * Deprecated: number of RAM sections, size of one, and the power of each when an array is given. It cannot tell
 * sections of different sizes apart, so BIRCH_M2 chips refuse it; use the three functions above.
 * @param[out] ram_sections_power_status     receives the power of each section; may be null when its length is 0
 * @param[in]  ram_sections_power_status_len capacity in entries: 0, or the count or more
 * @param[out] ram_sections_number           number of sections
 * @param[out] ram_sections_size             bytes of one section
 * @return Errors: ERR_BAD_ARGUMENT ram_sections_number null; ERR_BAD_ARGUMENT ram_sections_size null; ERR_BAD_ARGUMENT
 * ram_sections_power_status null with a length; [open]; [probe]; [ready]; [halt]; [version]; ERR_UNSUPPORTED_ON_DEVICE
 * on BIRCH_M2; ERR_BAD_ARGUMENT a length that is not 0 and below the count (count and size are set by then); [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_ram_powered(ram_power_status_t* ram_sections_power_status,
                                                           uint32_t ram_sections_power_status_len,
                                                           uint32_t* ram_sections_number, uint32_t* ram_sections_size);

/**
 * Power all RAM sections on.
 * @return Errors: [open]; [probe]; [ready]; [halt]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_power_ram_all(void);

/**
 * Power one RAM section off; its content is lost.
 * @param[in] section_index 0 to the count less one
 * @return Errors: [open]; [probe]; [ready]; [halt]; [version]; ERR_BAD_ARGUMENT section_index not below the count;
 * [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_unpower_ram_section(uint32_t section_index);

/** @} */
/**
 * @name Debug port and access port registers
 * Raw CoreSight accesses (ARM Debug Interface v5), for a probe session without a device connection. SELECT is written
 * before every AP access and every DP access at address 0x4; CoreSight is configured and debug power requested on first
 * use.
 * [raw] stands for: [open]; [probe]; ERR_WRONG_STATE the device is connected (without a log line); [jlink].
 * @{
 */

/**
 * Read a register of the debug port.
 * @param[in]  reg_addr a multiple of 4: bits 3:0 the register, bits 7:4 the bank for address 0x4
 * @param[out] data     its value
 * @return Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT SELECT,
 * which cannot be read; [raw].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_debug_port_register(uint8_t reg_addr, uint32_t* data);

/**
 * Write a register of the debug port.
 * @param[in] reg_addr a multiple of 4: bits 3:0 the register, bits 7:4 the bank for address 0x4
 * @param[in] data     its new value
 * @return Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; [raw].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_debug_port_register(uint8_t reg_addr, uint32_t data);

/**
 * Read a register of an access port.
 * @param[in]  ap_index 0 to 255; 1 is the CTRL-AP
 * @param[in]  reg_addr a multiple of 4: bits 3:0 the register, bits 7:4 the bank
 * @param[out] data     its value
 * @return Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; ERR_BAD_ARGUMENT data null; [raw].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_read_access_port_register(uint8_t ap_index, uint8_t reg_addr,
                                                                      uint32_t* data);

/**
 * Write a register of an access port.
 * @param[in] ap_index 0 to 255; 1 is the CTRL-AP
 * @param[in] reg_addr a multiple of 4: bits 3:0 the register, bits 7:4 the bank
 * @param[in] data     its new value
 * @return Errors: ERR_BAD_ARGUMENT reg_addr not a multiple of 4; [raw].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_write_access_port_register(uint8_t ap_index, uint8_t reg_addr,
                                                                       uint32_t data);

/** @} */
/**
 * @name RTT
 * The started state outlives a lost connection and a closed library; only TESSIT_rtt_stop ends it.
 * [rtt] stands for: ERR_WRONG_STATE TESSIT_rtt_start has not been called; [open]; [probe]; ERR_WRONG_STATE the
 * connection to the device has been lost.
 * @{
 */

/**
 * Fix the control block's target address for the next start.
 * @param[in] address where the control block begins
 * @return Errors: ERR_WRONG_STATE RTT is started; [open].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_set_control_block_address(uint32_t address);

/**
 * Start RTT, with the fixed address or searching the chip's RAM. Does not halt the CPU, and does not wait until the
 * control block is found.
 * @return Errors: ERR_WRONG_STATE already started; [open]; [probe]; [ready]; [version]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_start(void);

/**
 * Whether the control block has been found.
 * @param[out] is_control_block_found true when it has
 * @return Errors: ERR_BAD_ARGUMENT is_control_block_found null; [rtt]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_is_control_block_found(bool* is_control_block_found);

/**
 * Stop RTT and forget the fixed address.
 * @return Errors: [rtt]; [jlink], which leaves it started.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_stop(void);

/**
 * Whether RTT is started.
 * @param[out] started true from TESSIT_rtt_start's success to TESSIT_rtt_stop's
 * @return Errors: ERR_BAD_ARGUMENT started null; [open].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_rtt_started(bool* started);

/**
 * Read what an up channel holds. Never waits.
 * @param[in]  channel_index 0 to the number of up channels less one
 * @param[out] data          receives the bytes
 * @param[in]  data_len      bytes at most, 0 allowed
 * @param[out] data_read     bytes that were read; may be 0
 * @return Errors: ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT data_read null; [rtt]; [jlink] also while the control
 * block is not found; ERR_BAD_ARGUMENT no such channel; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read(uint32_t channel_index, uint8_t* data, uint32_t data_len,
                                                     uint32_t* data_read);

/**
 * Write to a down channel as much as it has room for. Never waits.
 * @param[in]  channel_index 0 to the number of down channels less one
 * @param[in]  data          the bytes
 * @param[in]  data_len      bytes, 0 allowed
 * @param[out] data_written  bytes that were accepted; may be less
 * @return Errors: ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT data_written null; [rtt]; [jlink] also while the control
 * block is not found; ERR_BAD_ARGUMENT no such channel; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_write(uint32_t channel_index, const uint8_t* data, uint32_t data_len,
                                                      uint32_t* data_written);

/**
 * Number of channels in each direction.
 * @param[out] down_channel_number channels from host to target
 * @param[out] up_channel_number   channels from target to host
 * @return Errors: ERR_BAD_ARGUMENT down_channel_number null; ERR_BAD_ARGUMENT up_channel_number null; [rtt]; [jlink]
 * also while the control block is not found.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read_channel_count(uint32_t* down_channel_number,
                                                                   uint32_t* up_channel_number);

/**
 * Name and buffer size of a channel. Of the name 32 bytes are written, padded with zeros. A name of all 32 bytes gets
 * its terminator as a 33rd byte where there is room, and none with a length of 32.
 * @param[in]  channel_index    0 to the number of channels in that direction less one
 * @param[in]  dir              UP_DIRECTION or DOWN_DIRECTION
 * @param[out] channel_name     receives the name
 * @param[in]  channel_name_len bytes, 32 or more
 * @param[out] channel_size     bytes of the channel's buffer
 * @return Errors: ERR_BAD_ARGUMENT channel_name null; ERR_BAD_ARGUMENT channel_size null; ERR_BAD_ARGUMENT
 * channel_name_len; ERR_BAD_ARGUMENT dir; [rtt]; [jlink] also while the control block is not found; ERR_BAD_ARGUMENT no
 * such channel; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_rtt_read_channel_info(uint32_t channel_index, rtt_direction_t dir,
                                                                  char* channel_name, uint32_t channel_name_len,
                                                                  uint32_t* channel_size);

/** @} */
/**
 * @name QSPI
 * External flash behind the QSPI peripheral of BIRCH_M2 chips. Transfers go through two staging areas in target RAM,
 * 4096 bytes at 0x20000000 (read) and 4096 bytes at 0x20001000 (write), which belong to the library while initialized.
 * [qspi] stands for: [version]; ERR_UNSUPPORTED_ON_DEVICE on other Birch models (without a log line).
 * [transfer] stands for: ERR_WRONG_STATE TESSIT_qspi_init has not been called; [open]; [probe]; ERR_WRONG_STATE the
 * connection to the device has been lost; [halt].
 * Waits are bounded: 10 s for the peripheral's ready event, 512 s for an erase. A bound that is reached logs one line
 * and returns ERR_FLASH_CONTROLLER_TIMEOUT.
 * @{
 */

/**
 * Configure and activate the peripheral. Powers all RAM on.
 * @param[in] retain_ram  0 false, anything else true: keep the staging areas' content and put it back at
 *                        TESSIT_qspi_uninit
 * @param[in] init_params see qspi_init_config_t; its fields are checked in this order: read_mode, write_mode,
 *                        address_mode, frequency, spi_mode, custom_instruction_io2_level,
 *                        custom_instruction_io3_level, sck_delay, then port and pin of CSN, CLK, DIO0 to DIO3, then
 *                        WIP_index, PPSize
 * @return Errors: ERR_BAD_ARGUMENT init_params null; ERR_BAD_ARGUMENT a field; ERR_WRONG_STATE already initialized;
 * [open]; [probe]; [ready]; [qspi]; [halt]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_init(uint8_t retain_ram, const qspi_init_config_t* init_params);

/**
 * Deactivate and disable the peripheral, initialized or not, and put retained RAM back.
 * @return Errors: [open]; [probe]; [ready]; [qspi]; [halt]; [jlink].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_uninit(void);

/**
 * Whether QSPI is initialized.
 * @param[out] initialized true from TESSIT_qspi_init's success to TESSIT_qspi_uninit's
 * @return Errors: ERR_BAD_ARGUMENT initialized null; [open].
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_is_qspi_init(bool* initialized);

/**
 * Read from the external flash.
 * @param[in]  addr     flash address; below 0x1000000 in 24-bit address mode
 * @param[out] data     receives the bytes
 * @param[in]  data_len bytes, 1 or more
 * @return Errors: ERR_BAD_ARGUMENT data null; ERR_BAD_ARGUMENT data_len 0; ERR_BAD_ARGUMENT addr; [transfer]; [jlink];
 * ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_read(uint32_t addr, uint8_t* data, uint32_t data_len);

/**
 * Write to the external flash; other bytes of the first and last word are written as 0xFF, which leaves them. Does not
 * wait for the flash's write-in-progress bit.
 * @param[in] addr     flash address; below 0x1000000 in 24-bit address mode
 * @param[in] data     the bytes
 * @param[in] data_len bytes, 1 or more
 * @return Errors: as TESSIT_qspi_read.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_write(uint32_t addr, const uint8_t* data, uint32_t data_len);

/**
 * Erase and wait for the flash.
 * @param[in] addr   flash address, a multiple of the length; below 0x1000000 in 24-bit address mode
 * @param[in] length of the erase; ERASEALL takes any address
 * @return Errors: ERR_BAD_ARGUMENT length; ERR_BAD_ARGUMENT addr beyond 24 bits in that address mode; ERR_BAD_ARGUMENT
 * addr not aligned to length; [transfer]; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_erase(uint32_t addr, qspi_erase_len_t length);

/**
 * Send an instruction of the caller's to the flash.
 * @param[in]  instruction_code   opcode
 * @param[in]  instruction_length bytes: the opcode and the data; 1 or more, more than 9 is sent as a long frame
 * @param[in]  data_in            instruction_length - 1 bytes to send after the opcode; null sends zeros
 * @param[out] data_out           receives instruction_length - 1 bytes; may be null
 * @return Errors: ERR_BAD_ARGUMENT instruction_length 0; [transfer]; ERR_UNSUPPORTED_ON_DEVICE more than 9 on
 * BIRCH_M2_VA_ENGA; ERR_NO_MEMORY; [jlink]; ERR_FLASH_CONTROLLER_TIMEOUT.
 */
TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_custom(uint8_t instruction_code, uint32_t instruction_length,
                                                        const uint8_t* data_in, uint8_t* data_out);

/** @} */

#if defined(__cplusplus)
}
#endif

#endif /* NOLINTEND(modernize-*) */
