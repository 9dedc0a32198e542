/* Faults that firmware handles: it prints what was stacked and why, steps over the instruction, and goes on. The last
 * one comes with the handlers off and PRIMASK set, and so as a HardFault, after which there is nothing to go on with.
 */
#include "console.h"
#include "cortex.h"
#include "status.h"

DEFINE_STATUS; /* `counter` is the number of faults */

struct frame
{
    uint32_t r0_to_r3[4];
    uint32_t r12;
    uint32_t lr;
    uint32_t pc;
    uint32_t xpsr;
};

static volatile uint32_t culprit; /* where the next fault is to come from */

static void print_frame(const char* name, const struct frame* frame)
{
    ++status.counter;
    say(name);
    say(": CFSR ");
    say_hex(CFSR);
    say(", BFAR ");
    say_hex(BFAR);
    say(", R0 ");
    say_hex(frame->r0_to_r3[0]);
    say(frame->pc == culprit ? ", PC at the culprit\n" : ", PC elsewhere\n");
    CFSR = ~0U;
}

/* Every instruction that faults here has 32 bits. */
__attribute__((used)) static void report(struct frame* frame, uint32_t exception)
{
    if (exception == 3) {
        print_frame("HardFault", frame);
        for (;;) {
        }
    }
    print_frame(exception == 5 ? "BusFault" : "UsageFault", frame);
    frame->pc += 4;
}

__attribute__((naked)) void hard_fault_handler(void)
{
    __asm__ volatile("mov r0, sp\n"
                     "mrs r1, ipsr\n"
                     "b report\n");
}

void bus_fault_handler(void) __attribute__((alias("hard_fault_handler")));
void usage_fault_handler(void) __attribute__((alias("hard_fault_handler")));

#define NOTE_CULPRIT "adr %0, 1f\n str %0, [%1]\n"

static void read_from(uint32_t address)
{
    uint32_t here;
    __asm__ volatile("mov r0, %2\n" NOTE_CULPRIT ".align 2\n 1: ldr.w r3, [r0]\n"
                     : "=&r"(here)
                     : "r"(&culprit), "r"(address)
                     : "r0", "r3", "memory");
}

static void divide_by(uint32_t divisor)
{
    uint32_t here;
    __asm__ volatile("mov r0, %2\n" NOTE_CULPRIT ".align 2\n 1: udiv r3, r0, r0\n"
                     : "=&r"(here)
                     : "r"(&culprit), "r"(divisor)
                     : "r0", "r3", "memory");
}

static void use_floating_point(void)
{
    uint32_t here;
    __asm__ volatile(".fpu fpv4-sp-d16\n movs r0, #7\n" NOTE_CULPRIT ".align 2\n 1: vadd.f32 s0, s0, s0\n"
                     : "=&r"(here)
                     : "r"(&culprit)
                     : "r0", "memory");
}

int main(void)
{
    begin_status();
    console_begin();
    SHCSR = SHCSR_BUS_FAULT_ENABLED | SHCSR_USAGE_FAULT_ENABLED;
    CCR |= CCR_TRAP_DIVISION_BY_ZERO;
    read_from(0x30000000);
    divide_by(0);
    use_floating_point();
    say("going on\n");
    SHCSR = 0;
    read_from(0x30000004);
    for (;;) {
    }
}
