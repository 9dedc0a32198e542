/* Counts, and computes something that a host can check, as fast as the CPU goes. */
#include "status.h"
#include "tables.h"

DEFINE_STATUS;

/* What a turn of the loop adds; a debugger may change it. */
static volatile uint32_t step = 1;

__attribute__((noinline)) static int32_t wave_at(uint32_t count)
{
    return tables.sine[count % SINE_STEPS];
}

__attribute__((noinline)) static uint32_t checksum_with(uint32_t checksum, uint32_t word)
{
    uint32_t crc = ~checksum;
    for (int byte = 0; byte < 4; ++byte) {
        crc = (crc >> 8) ^ tables.crc32[(crc ^ word) & 0xFF];
        word >>= 8;
    }
    return ~crc;
}

int main(void)
{
    begin_status();
    for (;;) {
        const uint32_t count = status.counter + step;
        const int32_t wave = wave_at(count);
        status.wave = wave;
        status.checksum = checksum_with(status.checksum, (uint32_t)wave);
        status.counter = count;
    }
}
