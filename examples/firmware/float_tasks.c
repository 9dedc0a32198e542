/* Two tasks compute with the floating point unit, each with numbers of its own, while SysTick takes the CPU from them
 * in the middle, computes, too, and PendSV hands it over. A register of one that leaks into the other is seen.
 *
 * Prints `float_tasks: 100 sums are right` when each task has 50 right ones; `counter` counts them. A wrong sum ends
 * the program with `float_tasks: a sum is wrong`.
 */
#include "console.h"
#include "cortex.h"
#include "status.h"
#include "tasks.h"

#define TURN_CYCLES 997U
#define SUMS 50U

DEFINE_STATUS;

static volatile float tick_value = 0.5F;
static volatile uint32_t sums_of[2];

void on_tick(void)
{
    tick_value = tick_value * 1.5F - 0.25F;
}

/* Adds up `step` a thousand times in S0 to S3 and S16 to S19; these are small whole numbers, so that a sum is exact. */
static uint32_t add_up(float step)
{
    uint32_t sum = 0;
    __asm__ volatile("vmov s0, %1\n vmov s1, s0\n vmov s16, s0\n vmov s17, s0\n"
                     "vsub.f32 s2, s0, s0\n vmov s18, s2\n vmov s3, s2\n vmov s19, s2\n"
                     "movw r2, #1000\n"
                     "1: vadd.f32 s2, s2, s0\n vadd.f32 s18, s18, s16\n"
                     "vadd.f32 s3, s3, s1\n vadd.f32 s19, s19, s17\n"
                     "subs r2, #1\n bne 1b\n"
                     "vadd.f32 s2, s2, s3\n vadd.f32 s18, s18, s19\n vadd.f32 s2, s2, s18\n"
                     "vcvt.u32.f32 s2, s2\n vmov %0, s2\n"
                     : "=r"(sum)
                     : "r"(step)
                     : "r2", "s0", "s1", "s2", "s3", "s16", "s17", "s18", "s19", "cc");
    return sum;
}

static void compute(uint32_t task, uint32_t step)
{
    for (;;) {
        if (add_up((float)step) != 4000 * step) {
            say("float_tasks: a sum is wrong\n");
            for (;;) {
            }
        }
        ++sums_of[task];
        if (task == 0 && sums_of[0] >= SUMS && sums_of[1] >= SUMS && status.counter == 0) {
            status.counter = 2 * SUMS;
            say("float_tasks: ");
            say_number(status.counter);
            say(" sums are right\n");
        }
    }
}

static void first(void)
{
    compute(0, 3);
}

static void second(void)
{
    compute(1, 1009);
}

int main(void)
{
    begin_status();
    console_begin();
    CPACR = CPACR_FLOATING_POINT_ON;
    __asm__ volatile("dsb\n isb");
    run_tasks(first, second, TURN_CYCLES);
}
