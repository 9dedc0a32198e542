#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/probe/probe.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_connected_to_device(bool* is_emu_connected_to_device)
{
    Export op{"is_connected_to_device"};
    RETURN_IF_FAILED(
        op.require(is_emu_connected_to_device != nullptr, "Invalid is_emu_connected_to_device pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    return is_connected_to_device(is_emu_connected_to_device);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_device(void)
{
    Export op{"connect_to_device"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    RETURN_IF_FAILED(op.refuse_when(connected, "connect_to_device has already been called"));
    return connect_to_unprotected_device();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_disconnect_from_device(void)
{
    Export op{"disconnect_from_device"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    return disconnect_from_device();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_readback_status(readback_protection_status_t* status)
{
    Export op{"readback_status"};
    RETURN_IF_FAILED(op.require(status != nullptr, "Invalid status pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    if (connected) {
        *status = NONE; // a protected chip cannot be connected to
        return RESULT_OK;
    }
    return readback_status(status);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_device_version(chip_version_t* version)
{
    Export op{"read_device_version"};
    RETURN_IF_FAILED(op.require(version != nullptr, "Invalid version pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return read_device_version(version);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_device_family(chip_family_t* /*family*/)
{
    Export op{"read_device_family"};
    log_message("This function cannot be executed in this dll.");
    return ERR_WRONG_STATE;
}
