/* A host program in C, as one outside of this repository is. */
#include <jlinkarm_birch_tessit.h>
#include <stdio.h>

int main(void)
{
    bool opened = true;
    const result_code_t result = TESSIT_is_dll_open(&opened);
    printf("is_dll_open: %d, %d\n", (int)result, (int)opened);
    return result == RESULT_OK && !opened ? 0 : 1;
}
