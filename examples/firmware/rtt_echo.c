/* Two up channels and a down channel over RTT, none of which ever loses a byte:
 *
 *   up 0    "log"      BANNER, then what arrives on down 0, in upper case
 *   up 1    "counter"  32-bit words, low byte first: 0, 1, 2, ...
 *   down 0  "echo"     any bytes; a to z become A to Z
 *
 * Rings are 1024, 4096 and 256 bytes, or 16 bytes each when built with RTT_TINY.
 */
#include "rtt.h"
#include "status.h"

#define BANNER "rtt_echo is ready\n"

#if defined(RTT_TINY)
enum
{
    log_size = 16,
    counter_size = 16,
    echo_size = 16
};
#else
enum
{
    log_size = 1024,
    counter_size = 4096,
    echo_size = 256
};
#endif

DEFINE_STATUS;

static uint8_t log_buffer[log_size];
static uint8_t counter_buffer[counter_size] __attribute__((aligned(4)));
static uint8_t echo_buffer[echo_size];

static struct rtt_ring* const log_ring = &rtt.up[0];
static struct rtt_ring* const counter_ring = &rtt.up[1];
static struct rtt_ring* const echo_ring = &rtt.down[0];

static uint8_t upper(uint8_t byte)
{
    return byte >= 'a' && byte <= 'z' ? (uint8_t)(byte - 'a' + 'A') : byte;
}

/* Both do as much as can be done now, and no more, however busy the host is: so the other gets its turn. */
static void echo(void)
{
    const uint32_t waiting = rtt_used(echo_ring);
    const uint32_t room = rtt_room(log_ring);
    for (uint32_t bytes = waiting < room ? waiting : room; bytes != 0; --bytes) {
        rtt_put(log_ring, upper(rtt_get(echo_ring)));
    }
}

static void count(void)
{
    for (uint32_t room = rtt_room(counter_ring); room >= 4; room -= 4) {
        rtt_put_word(counter_ring, status.counter);
        ++status.counter;
    }
}

int main(void)
{
    begin_status();
    rtt_set_ring(log_ring, "log", log_buffer, log_size);
    rtt_set_ring(counter_ring, "counter", counter_buffer, counter_size);
    rtt_set_ring(echo_ring, "echo", echo_buffer, echo_size);
    rtt_publish();
    rtt_write_text(log_ring, BANNER);
    for (;;) {
        echo();
        count();
    }
}
