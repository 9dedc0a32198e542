/* What an example shows of itself, at the begin of RAM:
 *
 *   0x20000000  counter   turns of the main loop, or what the program says
 *   0x20000004  magic     STATUS_MAGIC once the program has begun
 *   0x20000008  wave      counter.c only: a sine wave, a step of 1/8192 turn for each count
 *   0x2000000C  checksum  counter.c only: the CRC-32 of all values of `wave` so far
 */
#ifndef STATUS_H
#define STATUS_H

#include <stdint.h>

#define STATUS_MAGIC 0x54534554U /* "TEST" in memory */

struct status
{
    uint32_t counter;
    uint32_t magic;
    int32_t wave;
    uint32_t checksum;
};

/* One for each program. */
extern volatile struct status status;
#define DEFINE_STATUS __attribute__((section(".status"))) volatile struct status status

static inline void begin_status(void)
{
    status.counter = 0;
    status.wave = 0;
    status.checksum = 0;
    status.magic = STATUS_MAGIC;
}

#endif
