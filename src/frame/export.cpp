#include "src/frame/export.h"

#include "src/frame/session.h"

namespace tessit {

result_code_t Export::require(bool holds, std::string_view message) const
{
    if (holds) {
        return RESULT_OK;
    }
    log_message(message);
    return ERR_BAD_ARGUMENT;
}

result_code_t Export::refuse_when(bool is_so, std::string_view state) const
{
    if (!is_so) {
        return RESULT_OK;
    }
    log_message("Cannot call ", operation(), " when ", state, ".");
    return ERR_WRONG_STATE;
}

result_code_t Export::require_open() const
{
    return refuse_when(!session.dll_opened, "open_dll has not been called");
}

} // namespace tessit
