#include "src/frame/export.h"

#include "src/frame/session.h"
#include "src/probe/probe.h"
#include "src/target/device.h"

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
    log_message("Cannot call ", tag_.name(), " when ", state, ".");
    return ERR_WRONG_STATE;
}

result_code_t Export::require_open() const
{
    return refuse_when(!session.dll_opened, "open_dll has not been called");
}

result_code_t Export::require_probe() const
{
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_emu(&connected));
    return refuse_when(!connected, "connect_to_emu_without_snr or connect_to_emu_with_snr has not been called");
}

result_code_t Export::require_connection_kept(std::string_view started_by) const
{
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    if (connected) {
        return RESULT_OK;
    }
    log_message(started_by, " has been called, but the connection to the device has been lost, so no ", tag_.name(),
                " can be performed.");
    return ERR_WRONG_STATE;
}

} // namespace tessit
