/* Tests itself and ends: two tests that it names over RTT, a verdict, and an exit code for the debugger. What the word
 * at 0x3000 says, where it is not blank, goes wrong; so that whoever waits for a verdict can be tested, too.
 */
#include "console.h"
#include "status.h"

DEFINE_STATUS; /* `counter` is the number of tests that were begun */

enum fate
{
    fate_fails = 1,        /* ends with exit code 7 */
    fate_hangs = 2,        /* never says a verdict */
    fate_talks_on = 3,     /* says the verdict twice, and does not end */
    fate_faults = 4,       /* into a handler that goes nowhere */
    fate_stops = 5,        /* at a breakpoint, as an assertion does */
    fate_aborts = 6,       /* ends itself for another reason than its end */
    fate_says_code = 7,    /* says its exit code instead of ending with it, and the last digit late */
    fate_wants_output = 8, /* asks the debugger for something else than its end */
    fate_ends_plainly = 9  /* with the call that has no exit code */
};

#define FATE (*(const volatile uint32_t*)0x3000U)

enum
{
    sys_write0 = 0x04,
    sys_exit = 0x18,
    sys_exit_extended = 0x20,
    application_exit = 0x20026,
    run_time_error = 0x20023
};

static void call_debugger(uint32_t call, uint32_t argument)
{
    register uint32_t r0 __asm__("r0") = call;
    register uint32_t r1 __asm__("r1") = argument;
    __asm__ volatile("bkpt 0xAB" : "+r"(r0) : "r"(r1) : "memory");
}

static void exit_with(uint32_t code)
{
    const volatile uint32_t block[] = {application_exit, code};
    call_debugger(sys_exit_extended, (uint32_t)(uintptr_t)block);
}

static void wait(uint32_t turns)
{
    for (volatile uint32_t turn = 0; turn != turns; ++turn) {
    }
}

static void test(const char* name)
{
    ++status.counter;
    say(name);
    say(" ... ok\n");
}

static void meet_fate(void)
{
    switch (FATE) {
    case fate_fails:
        say("failed: 1 of 2\n");
        exit_with(7);
        break;
    case fate_hangs:
        break;
    case fate_talks_on:
        say("passed\npassed\n");
        break;
    case fate_faults:
        ((void (*)(void))0x30000001)();
        break;
    case fate_stops:
        __asm__ volatile("bkpt 1");
        break;
    case fate_aborts:
        call_debugger(sys_exit, run_time_error);
        break;
    case fate_says_code:
        say("exit: 4");
        wait(100000);
        say("2\n");
        break;
    case fate_wants_output:
        call_debugger(sys_write0, (uint32_t)(uintptr_t) "hello");
        break;
    case fate_ends_plainly:
        call_debugger(sys_exit, application_exit);
        break;
    default:
        say("passed\n");
        exit_with(0);
    }
}

int main(void)
{
    begin_status();
    console_begin();
    test("memory");
    test("clock");
    meet_fate();
    return 0;
}
