/*
 * Waits for peripherals: starts the clock, lets a timer interrupt it every millisecond, and prints over a serial port,
 * byte for byte. In the simulation examples/registers.toml declares what it waits for.
 */
#include "cortex.h"
#include "status.h"

#define CLOCK_TASKS_START CORTEX_REGISTER(0x40000000U)
#define CLOCK_EVENTS_STARTED CORTEX_REGISTER(0x40000100U)
#define UART_TASKS_START_SENDING CORTEX_REGISTER(0x40002008U)
#define UART_EVENTS_SENT CORTEX_REGISTER(0x4000211CU)
#define UART_ENABLE CORTEX_REGISTER(0x40002500U)
#define UART_DATA CORTEX_REGISTER(0x4000251CU)
#define TIMER_TASKS_START CORTEX_REGISTER(0x40008000U)
#define TIMER_TASKS_STOP CORTEX_REGISTER(0x40008004U)
#define TIMER_EVENTS_COMPARE CORTEX_REGISTER(0x40008140U)

enum
{
    timer_interrupt = 8,
    uart_enabled = 4,
    last_tick = 5
};

DEFINE_STATUS;

static void put(const char* text)
{
    for (; *text != '\0'; ++text) {
        UART_EVENTS_SENT = 0;
        UART_DATA = (uint8_t)*text;
        while (UART_EVENTS_SENT == 0) {
        }
    }
}

static void timer_handler(void)
{
    TIMER_EVENTS_COMPARE = 0;
    ++status.counter;
}

__attribute__((section(".vectors.interrupts"), used)) static void (*const interrupts[])(void) = {
    [timer_interrupt] = timer_handler,
};

int main(void)
{
    begin_status();
    CLOCK_TASKS_START = 1;
    while (CLOCK_EVENTS_STARTED == 0) {
    }
    UART_ENABLE = uart_enabled;
    UART_TASKS_START_SENDING = 1;
    put("the clock runs\n");
    NVIC_ISER = 1U << timer_interrupt;
    TIMER_TASKS_START = 1;
    for (uint32_t tick = 1; tick <= last_tick; ++tick) {
        while (status.counter < tick) {
            __asm__ volatile("wfi");
        }
        put((const char[]){'t', 'i', 'c', 'k', ' ', (char)('0' + tick), '\n', '\0'});
    }
    TIMER_TASKS_STOP = 1;
    put("done\n");
    for (;;) {
        __asm__ volatile("wfi");
    }
}
