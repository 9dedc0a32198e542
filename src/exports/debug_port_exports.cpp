#include "src/debugport/debug_port_access.h"
#include "src/debugport/debug_port_registers.h"
#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/probe/probe.h"

using namespace tessit;

namespace {

result_code_t require_aligned(const Export& op, std::uint8_t reg_addr)
{
    return op.require(reg_addr % 4 == 0, "Invalid reg_addr provided. Must be 32 bits aligned.");
}

// Raw accesses would get in the way of the J-Link library's own while it is connected to the core.
result_code_t require_no_device_connection()
{
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    return connected ? ERR_WRONG_STATE : RESULT_OK;
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_debug_port_register(std::uint8_t reg_addr, std::uint32_t* data)
{
    Export op{"read_debug_port_register"};
    RETURN_IF_FAILED(require_aligned(op, reg_addr));
    RETURN_IF_FAILED(op.require(data != nullptr, "Invalid data pointer provided."));
    RETURN_IF_FAILED(op.require((reg_addr & 0xF) != debug_port::select,
                                "Invalid reg_addr provided. SELECT register cannot be read."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(require_no_device_connection());
    return read_debug_port_register_untagged(reg_addr, data);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_write_debug_port_register(std::uint8_t reg_addr, std::uint32_t data)
{
    Export op{"write_debug_port_register"};
    RETURN_IF_FAILED(require_aligned(op, reg_addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(require_no_device_connection());
    return write_debug_port_register(reg_addr, data);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_access_port_register(std::uint8_t ap_index, std::uint8_t reg_addr,
                                                                      std::uint32_t* data)
{
    Export op{"read_access_port_register"};
    RETURN_IF_FAILED(require_aligned(op, reg_addr));
    RETURN_IF_FAILED(op.require(data != nullptr, "Invalid data pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(require_no_device_connection());
    return read_access_port_register(ap_index, reg_addr, data);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_write_access_port_register(std::uint8_t ap_index, std::uint8_t reg_addr,
                                                                       std::uint32_t data)
{
    Export op{"write_access_port_register"};
    RETURN_IF_FAILED(require_aligned(op, reg_addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(require_no_device_connection());
    return write_access_port_register(ap_index, reg_addr, data);
}
