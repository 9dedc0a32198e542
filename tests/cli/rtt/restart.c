/* Firmware that resets itself: it says which start this is, echoes what it gets, and starts again at an R.
 *
 * Its image stands beside it. After a change, in examples/firmware:
 *   arm-none-eabi-gcc -mcpu=cortex-m4 -mthumb -Os -ffreestanding -std=gnu11 -I. -nostdlib -Wl,-T,birch.ld \
 *       ../../tests/cli/rtt/restart.c rtt.c startup.c -o restart.elf
 *   arm-none-eabi-objcopy -O binary restart.elf ../../tests/cli/rtt/restart.bin
 */
#include "rtt.h"
#include "status.h"

#define AIRCR (*(volatile uint32_t*)0xE000ED0CU)
#define RESET_REQUEST 0x05FA0004U

DEFINE_STATUS; /* keeps its content through a reset: `counter` counts the starts, once `magic` is there */

static uint8_t log_buffer[256];
static uint8_t command_buffer[16];

static void say_start(void)
{
    char text[] = "start ?\n";
    text[6] = (char)('0' + status.counter % 10);
    rtt_write_text(&rtt.up[0], text);
}

int main(void)
{
    if (status.magic != STATUS_MAGIC) {
        begin_status();
    }
    ++status.counter;
    rtt_set_ring(&rtt.up[0], "log", log_buffer, sizeof log_buffer);
    rtt_set_ring(&rtt.down[0], "command", command_buffer, sizeof command_buffer);
    rtt_publish();
    say_start();
    for (;;) {
        if (rtt_used(&rtt.down[0]) == 0 || rtt_room(&rtt.up[0]) == 0) {
            continue;
        }
        const uint8_t byte = rtt_get(&rtt.down[0]);
        if (byte == 'R') {
            rtt_write_text(&rtt.up[0], "reset\n");
            while (rtt_used(&rtt.up[0]) != 0) { /* what is in the ring does not outlive the reset */
            }
            AIRCR = RESET_REQUEST;
        } else {
            rtt_put(&rtt.up[0], byte);
        }
    }
}
