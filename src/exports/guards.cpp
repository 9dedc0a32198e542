#include "src/exports/guards.h"

#include "src/probe/probe.h"

namespace tessit {

result_code_t require_probe(const Export& op)
{
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_emu(&connected));
    return op.refuse_when(!connected, "connect_to_emu_without_snr or connect_to_emu_with_snr has not been called");
}

result_code_t require_connection_kept(const Export& op, std::string_view started_by)
{
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    if (connected) {
        return RESULT_OK;
    }
    log_message(started_by, " has been called, but the connection to the device has been lost, so no ", op.operation(),
                " can be performed.");
    return ERR_WRONG_STATE;
}

} // namespace tessit
