#include "src/target/run_control.h"

#include "src/debugport/debug_port_access.h"
#include "src/frame/result.h"
#include "src/jlink/jlink.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/target/device.h"
#include "src/target/target_registers.h"

namespace tessit {
namespace {

// The J-Link library's reset strategy for the family: reset the core and its peripherals only.
constexpr std::int32_t reset_type = 8;

} // namespace

result_code_t halt()
{
    FunctionTag tag{"halt"};
    const std::uint8_t result = checked(jlink().JLINKARM_Halt)();
    return result != 0 ? jlink_failure("Halt", result) : RESULT_OK;
}

result_code_t is_halted(bool* halted)
{
    FunctionTag tag{"is_halted"};
    const auto result = static_cast<std::int8_t>(checked(jlink().JLINKARM_IsHalted)());
    if (result < 0) {
        return jlink_failure("IsHalted", result);
    }
    *halted = result != 0;
    return RESULT_OK;
}

result_code_t go()
{
    FunctionTag tag{"go"};
    checked(jlink().JLINKARM_Go)();
    return RESULT_OK;
}

result_code_t sys_reset()
{
    FunctionTag tag{"sys_reset"};
    checked(jlink().JLINKARM_SetResetType)(reset_type);
    const std::int32_t result = checked(jlink().JLINKARM_Reset)();
    return result < 0 ? jlink_failure("Reset", result) : RESULT_OK;
}

result_code_t debug_reset()
{
    FunctionTag tag{"debug_reset"};
    bool available = false;
    RETURN_IF_FAILED(is_ctrl_ap_available(&available));
    if (!available) {
        return ERR_UNSUPPORTED_ON_DEVICE;
    }
    RETURN_IF_FAILED(write_access_port_register(ctrl_ap::index, ctrl_ap::reset, 1));
    return write_access_port_register(ctrl_ap::index, ctrl_ap::reset, 0);
}

result_code_t clear_resetreas()
{
    FunctionTag tag{"clear_resetreas"};
    return write_register(power::reset_reasons, 0xFFFFFFFF);
}

} // namespace tessit
