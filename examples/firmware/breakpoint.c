/* Stops at a BKPT in every turn of its loop; the debugger steps over it by writing the program counter. */
#include "status.h"

DEFINE_STATUS;

int main(void)
{
    begin_status();
    for (;;) {
        ++status.counter;
        __asm__ volatile("bkpt 0");
    }
}
