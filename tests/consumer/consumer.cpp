// The same in C++.
#include <iostream>
#include <jlinkarm_birch_tessit.h>

int main()
{
    bool opened = true;
    const result_code_t result = TESSIT_is_dll_open(&opened);
    std::cout << "is_dll_open: " << result << ", " << opened << '\n';
    return result == RESULT_OK && !opened ? 0 : 1;
}
