#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/target/cpu_registers.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_cpu_register(cpu_register_t register_name,
                                                              std::uint32_t* register_data)
{
    Export op{"read_cpu_register"};
    RETURN_IF_FAILED(op.require(is_cpu_register(register_name), "Invalid register_name provided."));
    RETURN_IF_FAILED(op.require(register_data != nullptr, "Invalid register_data pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    *register_data = read_cpu_register(register_name);
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_write_cpu_register(cpu_register_t register_name,
                                                               std::uint32_t register_data)
{
    Export op{"write_cpu_register"};
    RETURN_IF_FAILED(op.require(is_cpu_register(register_name), "Invalid register_name provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return write_cpu_register(register_name, register_data);
}
