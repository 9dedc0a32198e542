#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/platform/sleep.h"
#include "src/probe/probe.h"
#include "src/target/chip_versions.h"
#include "src/target/cpu_registers.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

namespace {

constexpr std::int32_t jtag_interface = 0;
constexpr std::chrono::milliseconds reset_pulse{20};

// Drive the target's reset line low for the length of a pulse. Nothing here can fail.
void pulse_reset_line()
{
    // The line is driven in the J-Link library's first interface, whichever one is in use.
    checked(jlink().JLINKARM_TIF_Select)(jtag_interface);
    jlink().JLINKARM_ClrRESET(); // checked together with the release below
    platform::sleep(reset_pulse);
    checked(jlink().JLINKARM_SetRESET)();
    checked(jlink().JLINKARM_Close)();
}

result_code_t debug_reset_connected_device()
{
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    if (!chip->has_debug_reset) {
        return ERR_UNSUPPORTED_ON_DEVICE;
    }
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(sys_reset());
    return go();
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_sys_reset(void)
{
    Export op{"sys_reset"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return sys_reset();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_debug_reset(void)
{
    Export op{"debug_reset"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    return connected ? debug_reset_connected_device() : debug_reset();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_pin_reset(void)
{
    Export op{"pin_reset"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(restart_probe_session());
    pulse_reset_line();
    return connect_to_emu_with_snr(session.connected_emu_snr, session.connected_emu_speed);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_halt(void)
{
    Export op{"halt"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    return halt();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_halted(bool* is_device_halted)
{
    Export op{"is_halted"};
    RETURN_IF_FAILED(op.require(is_device_halted != nullptr, "Invalid is_device_halted pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    return is_halted(is_device_halted);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_run(std::uint32_t pc, std::uint32_t sp)
{
    Export op{"run"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(write_cpu_register(R15, pc));
    RETURN_IF_FAILED(write_cpu_register(R13, sp));
    return go();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_go(void)
{
    Export op{"go"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    bool halted = false;
    RETURN_IF_FAILED(is_halted(&halted));
    return halted ? go() : RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_step(void)
{
    Export op{"step"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    bool halted = false;
    RETURN_IF_FAILED(is_halted(&halted));
    RETURN_IF_FAILED(op.refuse_when(!halted, "the device is not halted"));
    const std::uint8_t result = checked(jlink().JLINKARM_Step)();
    if (result != 0) {
        log_message("JLinkARM.dll Step returned error.");
        return ERR_JLINK_CALL_FAILED;
    }
    return RESULT_OK;
}
