/* Sleeps, and tells what woke it:
 *
 *   tick N        WFI until SysTick; three times
 *   held back     WFI with PRIMASK set wakes as well, with the handler still to come
 *   event         WFE goes on at once behind SEV, and next time sleeps until an exception
 *   on exit       with SLEEPONEXIT only handlers run: this is said by the third tick, and main never goes on
 */
#include "console.h"
#include "cortex.h"
#include "status.h"

#define TICK_CYCLES 64000U /* a millisecond */

DEFINE_STATUS; /* `counter` is the number of ticks */

void sys_tick_handler(void)
{
    ++status.counter;
    if ((SCR & SCR_SLEEP_ON_EXIT) != 0 && status.counter % 3 == 0) {
        say("on exit\n");
        SYST_CSR = 0;
    }
}

static void sleep(void)
{
    __asm__ volatile("wfi" ::: "memory");
}

int main(void)
{
    begin_status();
    console_begin();
    start_sys_tick(TICK_CYCLES);
    while (status.counter != 3) {
        sleep();
        say("tick ");
        say_number(status.counter);
        say("\n");
    }

    mask_interrupts();
    sleep();
    say(status.counter == 3 ? "held back\n" : "taken too early\n");
    unmask_interrupts();

    const uint32_t before = status.counter;
    __asm__ volatile("sev\n wfe" ::: "memory");
    const uint32_t between = status.counter;
    __asm__ volatile("wfe" ::: "memory");
    say(between == before && status.counter == before + 1 ? "event\n" : "no event\n");

    SCR = SCR_SLEEP_ON_EXIT;
    sleep();
    say("main went on\n");
    for (;;) {
    }
}
