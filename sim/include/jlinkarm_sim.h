/*
 * Control interface of the simulated J-Link library: what a test, a benchmark or the command line does to the bench
 * that a host program, which sees only the J-Link functions, cannot.
 *
 * The library is found by path and its functions by name, like the J-Link functions beside them. One bench is open per
 * loaded copy; a J-Link or a JLINKSIM function that needs one and finds none opens the one that JLINKARM_SIM_BENCH
 * names, or the built-in bench. One call at a time, on one thread.
 *
 * Results. 0 or a count is success, -1 is failure, and JLINKSIM_error_text then says what and why. Texts are valid
 * until the next JLINKSIM call.
 *
 * Environment, read when a bench is opened:
 *   JLINKARM_SIM_BENCH    bench file; not set or empty means the built-in bench
 *   JLINKARM_SIM_STATE    folder of the bench's state; without it a bench file's state stands beside it, in
 *                         FILE.state/, and that of the built-in bench in $XDG_STATE_HOME/tessit/bench or
 *                         ~/.local/state/tessit/bench, on Windows in %LOCALAPPDATA%\tessit\bench
 *   JLINKARM_SIM_REALTIME 1: real time that passes between calls counts for chips, too; 0: it does not; without it the
 *                         bench file decides
 *   JLINKARM_SIM_TRACE    file to which every J-Link call is appended, a line each
 *   JLINKARM_SIM_RECORDS  file to which every witness record is appended, a line each
 *   JLINKARM_SIM_FAULTS   faults to inject, separated by ';', each FUNCTION#N followed by one or more of
 *                         =RESULT  ?CODE (pending error)  @unplug  +COUNT (calls that fail, 0 all)  !TEXT (error text;
 *                         it comes last, up to the ';'):
 *                         "JLINKARM_ReadMem#3=-1;JLINKARM_WriteMem#10@unplug"
 */
#ifndef JLINKARM_SIM_H
#define JLINKARM_SIM_H

/* NOLINTBEGIN(modernize-deprecated-headers, modernize-use-using): C reads this header, too. */
#include <stdint.h>

#if defined(_WIN32)
#define JLINKSIM_API /* a module-definition file exports them, undecorated */
#else
#define JLINKSIM_API __attribute__((visibility("default")))
#endif

#if defined(_WIN32) && !defined(_WIN64)
#define JLINKSIM_CALL __stdcall
#else
#define JLINKSIM_CALL
#endif

#if defined(__cplusplus)
extern "C" {
#endif

/* One probe of the bench and the chip on it. Texts are zero-terminated and cut to fit. */
typedef struct jlinksim_probe_t
{
    uint32_t serial_number;
    uint32_t plugged;           /* 1 while the probe is on USB */
    uint32_t in_use;            /* 1 while a process (also this one) holds it */
    uint32_t supply_millivolts; /* of the target */
    char firmware_text[112];
    char chip_version[32];   /* for example "BIRCH_M1_VA_REV1"; empty without a chip */
    uint32_t chip_protected; /* 1 while readback protection is in effect */
    uint32_t flash_bytes;
    uint32_t flash_page_bytes;
    uint32_t flash_used_bytes; /* bytes up to and including the last one that is not 0xFF */
    uint32_t uicr_blank;       /* 1 when every UICR byte is 0xFF */
    uint32_t ram_bytes;
    uint32_t external_flash_bytes; /* 0 without one */
    char state_folder[512];        /* of this probe's chip */
} jlinksim_probe_t;

/* A fault on order: calls number `occurrence` (1 is the next one) to `occurrence + count - 1` of `function` fail. */
typedef struct jlinksim_fault_t
{
    const char* function;   /* name of a J-Link function, for example "JLINKARM_ReadMem" */
    uint32_t occurrence;    /* 1 or more, counted from the order */
    uint32_t count;         /* 0 means every call from there on */
    uint32_t set_result;    /* 1: the call does nothing and returns `result` (cut to its type) */
    int32_t result;         /* for JLINKARM_ReadMemU32 with 0 and status != 0: the status byte */
    uint32_t status;        /* JLINKARM_ReadMemU32 only: status byte to report, 0 none */
    const char* error_text; /* text result (JLINKARM_OpenEx), error buffer (JLINKARM_ExecCommand), or null */
    uint32_t pending_error; /* what JLINKARM_HasError reports afterwards, until JLINKARM_ClrError; 0 none */
    uint32_t unplug;        /* 1: the probe's cable is pulled before the call is carried out */
} jlinksim_fault_t;

/* Bench. The path is a TOML file; null follows the environment. Opening replaces the bench, whose session is closed. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_open_bench(const char* path);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_close_bench(void);
JLINKSIM_API const char* JLINKSIM_CALL JLINKSIM_error_text(void);
/* Write a commented bench file to start from; an existing file is refused. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_write_example_bench(const char* path);
/* Path of the open bench's file, "" for the built-in bench. */
JLINKSIM_API const char* JLINKSIM_CALL JLINKSIM_bench_path(void);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_count_probes(void);
/* Also of a probe that another process holds. On failure, for example when the chip's state cannot be read, the record
 * holds what does not need the chip. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_describe_probe(uint32_t index, jlinksim_probe_t* probe);

/* Chip. A probe that another process holds is refused. */
/* Flash, UICR, FICR, external flash and RAM as the bench file gives them. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_factory_reset(uint32_t serial_number);
/* Supply off and on: RAM and registers lose their content, protection takes effect. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_power_cycle(uint32_t serial_number);
/* The bench file's value comes back when the bench is opened again. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_set_supply(uint32_t serial_number, uint32_t millivolts);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_set_plugged(uint32_t serial_number, uint32_t plugged);
/* Target memory as the chip's bus shows it, past the probe: no time passes, nothing is recorded, flash is written
 * without its controller. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_peek(uint32_t serial_number, uint32_t addr, void* buffer, uint32_t length);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_poke(uint32_t serial_number, uint32_t addr, const void* data, uint32_t length);

/* Modelled time in nanoseconds since the bench was opened. */
JLINKSIM_API uint64_t JLINKSIM_CALL JLINKSIM_time_ns(void);
/* Let modelled time pass, as a host does that sleeps between two calls: the chip of the open session lives meanwhile,
 * also when it is not connected, and RTT polls. It passes without a session, too. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_pass_time(uint64_t nanoseconds);
/* 1 when the bench's chips go by the host's time as well, 0 when modelled time is all they know. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_is_real_time(void);

/* Trace of J-Link calls, for example "JLINKARM_WriteU32(0x4001E504, 0x1) = 0". JLINKARM_HasError returning 0 is left
 * out. Starting empties the list. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_start_trace(void);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_stop_trace(void);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_count_trace(void);
JLINKSIM_API const char* JLINKSIM_CALL JLINKSIM_trace_line(uint32_t index);

/* Faults. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_inject_fault(const jlinksim_fault_t* fault);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_clear_faults(void);

/* Witness: what real hardware would have ignored or punished without telling, by name. */
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_count_records(void);
JLINKSIM_API const char* JLINKSIM_CALL JLINKSIM_record_line(uint32_t index);
JLINKSIM_API int JLINKSIM_CALL JLINKSIM_clear_records(void);
/* Path of the file in the bench's state folder that keeps the records of every process, a line each; there is none
 * before the first record, and it grows to 1 MiB. */
JLINKSIM_API const char* JLINKSIM_CALL JLINKSIM_records_path(void);

#if defined(__cplusplus)
}
#endif

/* NOLINTEND(modernize-deprecated-headers, modernize-use-using) */
#endif
