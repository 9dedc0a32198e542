/* Interrupts of three priorities interrupt each other, and what may not interrupt waits. Prints
 *
 *   low{mid{high{}}}      each handler raises the next, which interrupts it at once
 *   high{mid}{low}        all raised by `high`, which none of them interrupts
 *   masked:{high}{mid}{low} all raised with PRIMASK set, and taken by priority when it is cleared
 *   base:{high}-{mid}     BASEPRI holds `mid` back, and not `high`
 */
#include "console.h"
#include "cortex.h"
#include "status.h"

enum interrupt
{
    low,
    mid,
    high
};

#define PRIORITY_OF_MID 0x80

DEFINE_STATUS; /* `counter` is the number of handlers that were run */

static volatile uint32_t raised_by[3]; /* the interrupts that a handler raises */

static void raise(uint32_t interrupts)
{
    NVIC_ISPR = interrupts;
    __asm__ volatile("dsb\n isb" ::: "memory");
}

static void handle(enum interrupt number, const char* name)
{
    ++status.counter;
    say(name);
    say("{");
    raise(raised_by[number]);
    say("}");
}

static void low_handler(void)
{
    handle(low, "low");
}

static void mid_handler(void)
{
    handle(mid, "mid");
}

static void high_handler(void)
{
    handle(high, "high");
}

__attribute__((section(".vectors.interrupts"), used)) static void (*const interrupts[])(void) = {
    [low] = low_handler, [mid] = mid_handler, [high] = high_handler};

static void set_base_priority(uint32_t priority)
{
    __asm__ volatile("msr basepri, %0\n isb" ::"r"(priority) : "memory");
}

int main(void)
{
    begin_status();
    console_begin();
    NVIC_PRIORITY(low) = 0xC0;
    NVIC_PRIORITY(mid) = PRIORITY_OF_MID;
    NVIC_PRIORITY(high) = 0x40;
    NVIC_ISER = 1U << low | 1U << mid | 1U << high;

    raised_by[low] = 1U << mid;
    raised_by[mid] = 1U << high;
    raise(1U << low);
    say("\n");

    raised_by[low] = 0;
    raised_by[mid] = 0;
    raised_by[high] = 1U << low | 1U << mid;
    raise(1U << high);
    say("\n");

    raised_by[high] = 0;
    say("masked:");
    mask_interrupts();
    raise(1U << low | 1U << mid | 1U << high);
    unmask_interrupts();
    say("\n");

    say("base:");
    set_base_priority(PRIORITY_OF_MID);
    raise(1U << mid | 1U << high);
    say("-");
    set_base_priority(0);
    say("\n");
    for (;;) {
    }
}
