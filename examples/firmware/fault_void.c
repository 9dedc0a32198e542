/* Counts to 100, then jumps to 0x30000000, where a Birch chip has no memory. */
#include "status.h"

DEFINE_STATUS;

int main(void)
{
    begin_status();
    while (status.counter != 100) {
        ++status.counter;
    }
    void (*const into_the_void)(void) = (void (*)(void))0x30000001;
    into_the_void();
    return 0;
}
