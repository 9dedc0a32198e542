#include "src/jlink/jlink.h"

#include "src/log/logger.h"

namespace tessit {

JLinkFunctionTable jlink_functions;

namespace {

template <class Function>
bool bind(base::Module library, const char* name, Function*& entry)
{
    void* const address = base::find_function(library, name);
    if (address == nullptr) {
        return false;
    }
    entry = reinterpret_cast<Function*>(address);
    return true;
}

} // namespace

result_code_t bind_jlink_functions(base::Module library)
{
#define JLINK_BIND(result, name, parameters)                                                                           \
    if (!bind(library, #name, jlink_functions.name)) {                                                                 \
        return ERR_JLINK_LOAD_FAILED;                                                                                  \
    }
    JLINK_FUNCTIONS(JLINK_BIND)
#undef JLINK_BIND
    return RESULT_OK;
}

void report_jlink_error(std::uint8_t error, CallSite site)
{
    log_message("JLinkARM.dll reported error ", unsigned{error}, " at line ", site.number(), ".");
    jlink().JLINKARM_ClrError();
}

result_code_t jlink_failure(const char* function, std::int32_t result, result_code_t code)
{
    log_message("JLinkARM.dll ", function, " returned error ", result, ".");
    return code;
}

result_code_t jlink_failure(const char* function, const char* text)
{
    log_message("JLinkARM.dll ", function, " returned error '", text, "'.");
    return ERR_JLINK_CALL_FAILED;
}

result_code_t exec_command(const char* command, CallSite site)
{
    constexpr std::int32_t size = 500;
    std::array<char, size> error_text; // only its first character has a meaning before the call
    error_text.front() = '\0';
    checked(jlink().JLINKARM_ExecCommand, site)(command, error_text.data(), size);
    if (error_text.front() == '\0') {
        return RESULT_OK;
    }
    error_text.back() = '\0'; // a text that fills the buffer may arrive without its end
    return jlink_failure("ExecCommand", error_text.data());
}

} // namespace tessit
