/* Vector table and start-up of every example. */
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

/* Nothing here enables an interrupt: an exception is a fault, and stays here to be found by a debugger. */
static void unexpected(void)
{
    for (;;) {
    }
}

struct vectors
{
    uint32_t* initial_stack_pointer;
    void (*reset)(void);
    void (*exceptions[14])(void); /* NMI (2) to SysTick (15) */
};

__attribute__((section(".vectors"), used)) static const struct vectors vectors = {
    .initial_stack_pointer = stack_top,
    .reset = reset_handler,
    .exceptions = {[0 ... 13] = unexpected},
};
