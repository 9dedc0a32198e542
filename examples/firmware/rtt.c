#include "rtt.h"

struct rtt_control_block rtt;

/* The buffer's bytes must be in memory before the offset that gives them to the other side. */
static void publish_offset(volatile uint32_t* offset, uint32_t value)
{
    __asm__ volatile("dmb" ::: "memory");
    *offset = value;
}

static uint32_t behind(const struct rtt_ring* ring, uint32_t offset, uint32_t step)
{
    const uint32_t next = offset + step;
    return next < ring->size ? next : next - ring->size;
}

void rtt_set_ring(struct rtt_ring* ring, const char* name, uint8_t* buffer, uint32_t size)
{
    ring->name = name;
    ring->buffer = buffer;
    ring->size = size;
    ring->write = 0;
    ring->read = 0;
    ring->flags = RTT_FLAGS_WAIT_FOR_ROOM;
}

/* The identifier is written last, and from its end, so that the probe never sees a block that is not ready. It stands
 * backwards in flash, where a search must not find it. */
void rtt_publish(void)
{
    static const char backwards[] = "TTR REGGES";
    const size_t length = sizeof backwards - 1;
    rtt.up_count = RTT_UP_RINGS;
    rtt.down_count = RTT_DOWN_RINGS;
    __asm__ volatile("dmb" ::: "memory");
    for (size_t i = length; i != sizeof rtt.identifier; ++i) {
        rtt.identifier[i] = 0;
    }
    for (size_t i = 0; i != length; ++i) {
        rtt.identifier[length - 1 - i] = backwards[i];
    }
}

uint32_t rtt_used(const struct rtt_ring* ring)
{
    const uint32_t write = ring->write;
    const uint32_t read = ring->read;
    return write >= read ? write - read : write + ring->size - read;
}

uint32_t rtt_room(const struct rtt_ring* ring)
{
    return ring->size - 1 - rtt_used(ring);
}

uint8_t rtt_get(struct rtt_ring* ring)
{
    const uint32_t read = ring->read;
    const uint8_t byte = ((volatile const uint8_t*)ring->buffer)[read];
    publish_offset(&ring->read, behind(ring, read, 1));
    return byte;
}

void rtt_put(struct rtt_ring* ring, uint8_t byte)
{
    const uint32_t write = ring->write;
    ring->buffer[write] = byte;
    publish_offset(&ring->write, behind(ring, write, 1));
}

void rtt_put_word(struct rtt_ring* ring, uint32_t word)
{
    const uint32_t write = ring->write;
    *(uint32_t*)(void*)(ring->buffer + write) = word;
    publish_offset(&ring->write, behind(ring, write, 4));
}

void rtt_write_text(struct rtt_ring* ring, const char* text)
{
    while (*text != '\0') {
        if (rtt_room(ring) != 0) {
            rtt_put(ring, (uint8_t)*text++);
        }
    }
}
