#include "src/debugport/debug_port_access.h"

#include "src/debugport/debug_port_registers.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/log/logger.h"

namespace tessit {
namespace {

enum class Port : std::uint8_t
{
    debug = 0,
    access = 1,
};

result_code_t read_register(Port port, std::uint8_t reg_addr, std::uint32_t* data)
{
    const std::int32_t result = checked(jlink().JLINKARM_CORESIGHT_ReadAPDPReg)(debug_port::register_index(reg_addr),
                                                                                static_cast<std::uint8_t>(port), data);
    return result < 0 ? jlink_failure("CORESIGHT_ReadAPDPReg", result) : RESULT_OK;
}

result_code_t write_register(Port port, std::uint8_t reg_addr, std::uint32_t data)
{
    const std::int32_t result = checked(jlink().JLINKARM_CORESIGHT_WriteAPDPReg)(debug_port::register_index(reg_addr),
                                                                                 static_cast<std::uint8_t>(port), data);
    return result < 0 ? jlink_failure("CORESIGHT_WriteAPDPReg", result) : RESULT_OK;
}

result_code_t prepare_debug_port_access(std::uint8_t reg_addr)
{
    if (!session.coresight_configured) {
        RETURN_IF_FAILED(coresight_configure());
    }
    if (debug_port::is_banked(reg_addr)) {
        return write_register(Port::debug, debug_port::select, debug_port::select_dp_bank(reg_addr));
    }
    return RESULT_OK;
}

result_code_t prepare_access_port_access(std::uint8_t ap_index, std::uint8_t reg_addr)
{
    if (!session.coresight_configured) {
        RETURN_IF_FAILED(coresight_configure());
    }
    if (!session.debug_regions_powered) {
        RETURN_IF_FAILED(power_debug_and_system_regions());
    }
    return write_register(Port::debug, debug_port::select, debug_port::select_ap_bank(ap_index, reg_addr));
}

} // namespace

result_code_t read_debug_port_register(std::uint8_t reg_addr, std::uint32_t* data)
{
    FunctionTag tag{"read_debug_port_register"};
    return read_debug_port_register_untagged(reg_addr, data);
}

result_code_t read_debug_port_register_untagged(std::uint8_t reg_addr, std::uint32_t* data)
{
    RETURN_IF_FAILED(prepare_debug_port_access(reg_addr));
    return read_register(Port::debug, reg_addr, data);
}

result_code_t write_debug_port_register(std::uint8_t reg_addr, std::uint32_t data)
{
    FunctionTag tag{"write_debug_port_register"};
    RETURN_IF_FAILED(prepare_debug_port_access(reg_addr));
    return write_register(Port::debug, reg_addr, data);
}

result_code_t read_access_port_register(std::uint8_t ap_index, std::uint8_t reg_addr, std::uint32_t* data)
{
    FunctionTag tag{"read_access_port_register"};
    RETURN_IF_FAILED(prepare_access_port_access(ap_index, reg_addr));
    return read_register(Port::access, reg_addr, data);
}

result_code_t write_access_port_register(std::uint8_t ap_index, std::uint8_t reg_addr, std::uint32_t data)
{
    FunctionTag tag{"write_access_port_register"};
    RETURN_IF_FAILED(prepare_access_port_access(ap_index, reg_addr));
    return write_register(Port::access, reg_addr, data);
}

result_code_t coresight_configure()
{
    FunctionTag tag{"coresight_configure"};
    const std::int32_t result = checked(jlink().JLINKARM_CORESIGHT_Configure)("");
    if (result < 0) {
        return jlink_failure("CORESIGHT_Configure", result);
    }
    session.coresight_configured = true;
    return RESULT_OK;
}

result_code_t power_debug_and_system_regions()
{
    FunctionTag tag{"power_debug_and_system_regions"};
    // The request is enough: the power-up acknowledge comes long before the next access.
    const result_code_t result = write_debug_port_register(debug_port::ctrl_stat, debug_port::power_up_request);
    if (result < 0) {
        return jlink_failure("CORESIGHT_WriteAPDPReg", result);
    }
    session.debug_regions_powered = true;
    return RESULT_OK;
}

result_code_t unpower_debug_and_system_regions()
{
    FunctionTag tag{"unpower_debug_and_system_regions"};
    if (!session.debug_regions_powered) {
        return RESULT_OK;
    }
    const result_code_t written = write_debug_port_register(debug_port::ctrl_stat, debug_port::power_down_request);
    if (written < 0) {
        return jlink_failure("CORESIGHT_WriteAPDPReg", written);
    }
    std::uint32_t discarded = 0;
    const result_code_t read = read_debug_port_register(debug_port::ctrl_stat, &discarded);
    if (read < 0) {
        return jlink_failure("CORESIGHT_ReadAPDPReg", read);
    }
    session.debug_regions_powered = false;
    return RESULT_OK;
}

} // namespace tessit
