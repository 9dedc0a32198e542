#include "src/debugport/debug_port_access.h"
#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/memory/erase.h"
#include "src/memory/memory_access.h"
#include "src/platform/sleep.h"
#include "src/probe/probe.h"
#include "src/ram_power/ram_power.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"
#include "src/target/run_control.h"
#include "src/target/target_registers.h"

using namespace tessit;

namespace {

constexpr int erase_attempts = 3;
constexpr int erase_polls = 20;
constexpr std::chrono::milliseconds erase_poll_interval{500};
constexpr std::chrono::milliseconds reset_settle_time{10};

result_code_t require_settable_protection(const Export& op, readback_protection_status_t desired)
{
    RETURN_IF_FAILED(op.require(
        desired != NONE, "Invalid desired_protection parameter provided. NONE does not give a meaningful operation."));
    RETURN_IF_FAILED(op.require(desired != REGION_0 && desired != BOTH,
                                "Invalid desired_protection parameter provided. REGION_0 or BOTH is not a valid "
                                "protection level for this device."));
    return op.require(desired == FULL,
                      "Invalid desired_protection parameter provided. The value received cannot be encoded in a "
                      "readback_protection_status_t.");
}

// Wait until no erase-all is in progress, or until the polls are used up. A failed read counts as still busy.
void wait_for_ctrl_ap_erase()
{
    for (int poll = 0; poll < erase_polls; ++poll) {
        platform::sleep(erase_poll_interval);
        std::uint32_t busy = 1;
        const result_code_t read = read_access_port_register(ctrl_ap::index, ctrl_ap::erase_all_status, &busy);
        if (read == RESULT_OK && busy == 0) {
            return;
        }
    }
}

// One erase-all through the CTRL-AP and the reset that makes it count. The reset follows even when the erase did not
// report its end in time.
result_code_t erase_all_through_ctrl_ap()
{
    RETURN_IF_FAILED(write_access_port_register(ctrl_ap::index, ctrl_ap::erase_all, 1));
    wait_for_ctrl_ap_erase();
    RETURN_IF_FAILED(write_access_port_register(ctrl_ap::index, ctrl_ap::reset, 1));
    platform::sleep(reset_settle_time);
    RETURN_IF_FAILED(write_access_port_register(ctrl_ap::index, ctrl_ap::reset, 0));
    RETURN_IF_FAILED(write_access_port_register(ctrl_ap::index, ctrl_ap::erase_all, 0));
    platform::sleep(reset_settle_time);
    return RESULT_OK;
}

// Whatever the outcome, the connection that follows is the judge.
void lift_protection_through_ctrl_ap()
{
    for (int attempt = 0; attempt < erase_attempts; ++attempt) {
        if (erase_all_through_ctrl_ap() != RESULT_OK) {
            continue;
        }
        readback_protection_status_t status = FULL;
        if (readback_status(&status) == RESULT_OK && status == NONE) {
            return;
        }
    }
}

// Connect to the device, after lifting its protection where it has one.
result_code_t reach_device()
{
    readback_protection_status_t status = NONE;
    RETURN_IF_FAILED(readback_status(&status));
    if (status != NONE) {
        lift_protection_through_ctrl_ap();
    }
    return connect_to_device();
}

// Bring the connected chip to its blank state.
result_code_t clean_up_device()
{
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(erase_uicr());
    RETURN_IF_FAILED(sys_reset());
    RETURN_IF_FAILED(erase_all());
    RETURN_IF_FAILED(sys_reset());
    RETURN_IF_FAILED(power_ram_all());
    return clear_resetreas();
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_readback_protect(readback_protection_status_t desired_protection)
{
    Export op{"readback_protect"};
    RETURN_IF_FAILED(require_settable_protection(op, desired_protection));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    if (!chip->has_debug_reset) {
        return ERR_UNSUPPORTED_ON_DEVICE;
    }
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(write_u32(uicr::approtect, uicr::approtect_enabled, true));
    // The word takes effect at the next reset, which must not find the debugger connected.
    RETURN_IF_FAILED(restart_probe_session());
    return debug_reset();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_recover(void)
{
    Export op{"recover"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    if (!connected && reach_device() != RESULT_OK) {
        return ERR_RECOVER_FAILED;
    }
    return clean_up_device() == RESULT_OK ? RESULT_OK : ERR_RECOVER_FAILED;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_region_0_size_and_source(std::uint32_t* size,
                                                                          region_0_source_t* source)
{
    Export op{"read_region_0_size_and_source"};
    RETURN_IF_FAILED(op.require(size != nullptr, "Invalid size pointer provided."));
    RETURN_IF_FAILED(op.require(source != nullptr, "Invalid source pointer provided."));
    *size = 0;
    *source = NO_REGION_0;
    return RESULT_OK;
}
