#include "src/frame/export.h"

namespace tessit {

result_code_t Export::refuse_argument(std::string_view message)
{
    log_message(message);
    return ERR_BAD_ARGUMENT;
}

result_code_t Export::refuse_state(std::string_view state) const
{
    log_message("Cannot call ", operation(), " when ", state, ".");
    return ERR_WRONG_STATE;
}

} // namespace tessit
