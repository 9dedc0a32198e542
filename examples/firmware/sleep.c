/* Sleeps in WFI; the counter shows how often it woke up. */
#include "status.h"

DEFINE_STATUS;

int main(void)
{
    begin_status();
    for (;;) {
        __asm__ volatile("wfi");
        ++status.counter;
    }
}
