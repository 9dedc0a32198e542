#include "src/jlink/library_version.h"

#include "src/jlink/jlink.h"
#include "src/log/logger.h"

namespace tessit {

result_code_t dll_version(std::uint32_t* major, std::uint32_t* minor, char* revision)
{
    FunctionTag tag{"dll_version"};
    // major * 10000 + minor * 100 + revision
    const std::uint32_t version = checked(jlink().JLINKARM_GetDLLVersion)();
    const std::uint32_t revision_number = version % 100;
    *major = version / 10000;
    *minor = version / 100 % 100;
    *revision = revision_number == 0 ? ' ' : static_cast<char>('a' - 1 + revision_number);
    return RESULT_OK;
}

} // namespace tessit
