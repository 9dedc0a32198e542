/* Two tasks that never give the CPU away: SysTick takes it from them, and PendSV hands it to the other. Each prints
 * over RTT, by a call of the supervisor (SVC): what they share belongs to privileged code.
 *
 *   one 1, two 1, one 2, two 2, ...    a line whenever the task has seen 5 more ticks
 */
#include "console.h"
#include "cortex.h"
#include "status.h"
#include "tasks.h"

#define TURN_CYCLES 16000U /* a quarter of a millisecond */
#define TICKS_PER_LINE 5U

DEFINE_STATUS; /* `counter` is the number of lines */

/* The supervisor's calls: R0 is the task's name, R1 its count. The stacked frame is the task's. */
__attribute__((used)) static void supervise(const uint32_t* frame)
{
    say((const char*)frame[0]);
    say(" ");
    say_number(frame[1]);
    say("\n");
    ++status.counter;
}

__attribute__((naked)) void svc_handler(void)
{
    __asm__ volatile("mrs r0, psp\n"
                     "b supervise\n");
}

static void print_line(const char* name, uint32_t count)
{
    register uint32_t r0 __asm__("r0") = (uint32_t)name;
    register uint32_t r1 __asm__("r1") = count;
    __asm__ volatile("svc 0" ::"r"(r0), "r"(r1) : "memory");
}

static void work(const char* name)
{
    uint32_t next = ticks;
    for (uint32_t count = 1;; ++count) {
        print_line(name, count);
        next += TICKS_PER_LINE;
        while ((int32_t)(next - ticks) > 0) {
        }
    }
}

static void one(void)
{
    work("one");
}

static void two(void)
{
    work("two");
}

int main(void)
{
    begin_status();
    console_begin();
    run_tasks(one, two, TURN_CYCLES);
}
