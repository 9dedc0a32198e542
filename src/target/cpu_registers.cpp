#include "src/target/cpu_registers.h"

#include "src/jlink/jlink.h"
#include "src/log/logger.h"

namespace tessit {
namespace {

// A register's value is the J-Link library's index of it, too.
std::uint32_t index_of(cpu_register_t name)
{
    return static_cast<std::uint32_t>(name);
}

} // namespace

std::uint32_t read_cpu_register(cpu_register_t name)
{
    return checked(jlink().JLINKARM_ReadReg)(index_of(name));
}

result_code_t write_cpu_register(cpu_register_t name, std::uint32_t value)
{
    FunctionTag tag{"write_cpu_register"};
    // 1 is the one value that means failure.
    const std::uint8_t result = checked(jlink().JLINKARM_WriteReg)(index_of(name), value);
    return result == 1 ? jlink_failure("WriteReg", result) : RESULT_OK;
}

} // namespace tessit
