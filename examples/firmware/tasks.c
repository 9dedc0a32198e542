#include "tasks.h"

#include "cortex.h"

#define STACK_WORDS 128
#define LOWEST_PRIORITY 0xE0
#define TICK_PRIORITY 0x40

#define XPSR_THUMB (1U << 24)
#define EXC_RETURN_THREAD_PROCESS 0xFFFFFFFDU

/* What PendSV keeps below the frame that the hardware stacks, from the lowest address on. */
struct kept
{
    uint32_t r4_to_r11[8];
    uint32_t exc_return;
};

struct frame
{
    uint32_t r0_to_r3[4];
    uint32_t r12;
    uint32_t lr;
    uint32_t pc;
    uint32_t xpsr;
};

static uint64_t stacks[2][STACK_WORDS / 2];
static uint32_t* stack_pointers[2];
static uint32_t current;

volatile uint32_t ticks;

__attribute__((weak)) void on_tick(void) {}

void sys_tick_handler(void)
{
    ++ticks;
    on_tick();
    ICSR = ICSR_PEND_PENDSV;
}

/* Where the task of this stack pointer is left, and where the other goes on. */
__attribute__((used)) static uint32_t* other_task(uint32_t* stack_pointer)
{
    stack_pointers[current] = stack_pointer;
    current = 1 - current;
    return stack_pointers[current];
}

/* S16 to S31 are kept only of a task that has used them: bit 4 of EXC_RETURN is clear. S0 to S15 are the hardware's. */
__attribute__((naked)) void pend_sv_handler(void)
{
    __asm__ volatile(".fpu fpv4-sp-d16       \n"
                     "mrs      r0, psp       \n"
                     "tst      lr, #0x10     \n"
                     "it       eq            \n"
                     "vstmdbeq r0!, {s16-s31}\n"
                     "stmdb    r0!, {r4-r11, lr}\n"
                     "bl       other_task    \n"
                     "ldmia    r0!, {r4-r11, lr}\n"
                     "tst      lr, #0x10     \n"
                     "it       eq            \n"
                     "vldmiaeq r0!, {s16-s31}\n"
                     "msr      psp, r0       \n"
                     "bx       lr            \n");
}

/* As if PendSV had interrupted it at its first instruction. */
static uint32_t* prepare(uint64_t* stack, void (*task)(void))
{
    struct frame* const frame = (struct frame*)(stack + STACK_WORDS / 2) - 1;
    struct kept* const kept = (struct kept*)frame - 1;
    frame->pc = (uint32_t)task & ~1U;
    frame->xpsr = XPSR_THUMB;
    kept->exc_return = EXC_RETURN_THREAD_PROCESS;
    return (uint32_t*)kept;
}

void run_tasks(void (*first)(void), void (*second)(void), uint32_t cycles)
{
    stack_pointers[1] = prepare(stacks[1], second);
    SYSTEM_PRIORITY(exception_pend_sv) = LOWEST_PRIORITY;
    SYSTEM_PRIORITY(exception_sys_tick) = TICK_PRIORITY;
    start_sys_tick(cycles);
    /* Thread mode becomes the first task: its own stack, and no privilege. */
    __asm__ volatile("msr psp, %0\n"
                     "movs r0, #3\n"
                     "msr control, r0\n"
                     "isb\n"
                     "blx %1\n" ::"r"(stacks[0] + STACK_WORDS / 2),
                     "r"(first)
                     : "r0", "memory");
    for (;;) {
    }
}
