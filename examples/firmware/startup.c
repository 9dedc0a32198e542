/* Vector table and start-up of every example. */
#include "cortex.h"

#include <stdint.h>

extern uint32_t stack_top[];
extern const uint32_t data_load[];
extern uint32_t data_begin[], data_end[], bss_begin[], bss_end[];

int main(void);

static void copy_data(void)
{
    const uint32_t* from = data_load;
    for (uint32_t* to = data_begin; to != data_end; ++to) {
        *to = *from++;
    }
}

static void clear_bss(void)
{
    for (uint32_t* word = bss_begin; word != bss_end; ++word) {
        *word = 0;
    }
}

void reset_handler(void)
{
    copy_data();
    clear_bss();
    main();
    for (;;) {
    }
}

/* Of what a program has no handler for: a fault stays here, to be found by a debugger. */
static void unexpected(void)
{
    for (;;) {
    }
}

#define OF_PROGRAM __attribute__((weak, alias("unexpected")))
OF_PROGRAM void hard_fault_handler(void);
OF_PROGRAM void bus_fault_handler(void);
OF_PROGRAM void usage_fault_handler(void);
OF_PROGRAM void svc_handler(void);
OF_PROGRAM void pend_sv_handler(void);
OF_PROGRAM void sys_tick_handler(void);

struct vectors
{
    uint32_t* initial_stack_pointer;
    void (*reset)(void);
    void (*exceptions[14])(void); /* NMI (2) to SysTick (15); a program's interrupts follow in .vectors.interrupts */
};

__attribute__((section(".vectors"), used)) static const struct vectors vectors = {
    .initial_stack_pointer = stack_top,
    .reset = reset_handler,
    .exceptions = {unexpected, hard_fault_handler, unexpected, bus_fault_handler, usage_fault_handler, unexpected,
                   unexpected, unexpected, unexpected, svc_handler, unexpected, unexpected, pend_sv_handler,
                   sys_tick_handler},
};
