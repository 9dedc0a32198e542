/* The target's side of RTT: rings in RAM through which the debug probe reads and writes while the CPU runs.
 *
 * The probe finds the control block by its identifier, and moves `read` of the up rings and `write` of the down rings;
 * the firmware moves the other two. A ring is empty when they are equal, and holds at most size - 1 bytes.
 */
#ifndef RTT_H
#define RTT_H

#include <stddef.h>
#include <stdint.h>

#define RTT_UP_RINGS 2   /* target to host */
#define RTT_DOWN_RINGS 1 /* host to target */

/* Tells the host that the firmware waits for room and drops nothing. */
#define RTT_FLAGS_WAIT_FOR_ROOM 2U

/* The layout is the probe's: 24 bytes, each field 32 bits. */
struct rtt_ring
{
    const char* name;
    uint8_t* buffer;
    uint32_t size;
    volatile uint32_t write; /* offset in the buffer of the next byte to write */
    volatile uint32_t read;  /* offset in the buffer of the next byte to read */
    uint32_t flags;
};

struct rtt_control_block
{
    volatile char identifier[16]; /* "SEGGER RTT", filled up with zeros */
    int32_t up_count;
    int32_t down_count;
    struct rtt_ring up[RTT_UP_RINGS];
    struct rtt_ring down[RTT_DOWN_RINGS];
};

extern struct rtt_control_block rtt;

/* Make the control block visible to the probe; its rings must be set before. */
void rtt_publish(void);

void rtt_set_ring(struct rtt_ring* ring, const char* name, uint8_t* buffer, uint32_t size);

/* Bytes that can be read, and bytes that can be written, now. */
uint32_t rtt_used(const struct rtt_ring* ring);
uint32_t rtt_room(const struct rtt_ring* ring);

/* One byte; there must be one to read, or room for it. */
uint8_t rtt_get(struct rtt_ring* ring);
void rtt_put(struct rtt_ring* ring, uint8_t byte);

/* One word, low byte first; there must be room for 4 bytes, and only words may be written to this ring, whose size is a
 * multiple of 4. */
void rtt_put_word(struct rtt_ring* ring, uint32_t word);

/* All of a text, waiting for room as long as it takes. */
void rtt_write_text(struct rtt_ring* ring, const char* text);

#endif
