/* The public header is plain C11, and its types have the sizes that callers in other languages rely on. */
#include "jlinkarm_birch_tessit.h"

_Static_assert(sizeof(result_code_t) == 4, "");
_Static_assert(sizeof(cpu_register_t) == 4, "");
_Static_assert(sizeof(qspi_init_config_t) == 22 * 4, "");
_Static_assert(sizeof(bool) == 1, "");
_Static_assert(ERR_UNEXPECTED_CHIP_VERSION == -255, "");
_Static_assert(BIRCH_M2_VA_ENGB == 21, "");

result_code_t interface_test(void);

result_code_t interface_test(void)
{
    bool opened = true;
    return TESSIT_is_dll_open(&opened);
}
