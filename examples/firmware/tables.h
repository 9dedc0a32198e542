/* Tables that the compiler computes. */
#ifndef TABLES_H
#define TABLES_H

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

#define SINE_STEPS 8192U /* a full turn */
#define SINE_SCALE 32767 /* a sine of 1 */

struct tables
{
    int16_t sine[SINE_STEPS];
    uint32_t crc32[256]; /* by the low byte; polynomial 0xEDB88320, reflected */
};

extern const struct tables tables;

#if defined(__cplusplus)
}
#endif

#endif
