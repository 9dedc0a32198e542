#include "src/target/cpu_registers.h"

#include "src/jlink/jlink.h"
#include "src/log/logger.h"

#include <array>

namespace tessit {
namespace {

// The J-Link library's index of each register, by its cpu_register_t value.
constexpr std::array<std::uint32_t, 19> jlink_indexes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};

std::uint32_t jlink_index(cpu_register_t name)
{
    return jlink_indexes[static_cast<std::size_t>(name)];
}

} // namespace

std::uint32_t read_cpu_register(cpu_register_t name)
{
    return checked(jlink().JLINKARM_ReadReg)(jlink_index(name));
}

result_code_t write_cpu_register(cpu_register_t name, std::uint32_t value)
{
    FunctionTag tag{"write_cpu_register"};
    // 1 is the one value that means failure.
    const std::uint8_t result = checked(jlink().JLINKARM_WriteReg)(jlink_index(name), value);
    return result == 1 ? jlink_failure("WriteReg", result) : RESULT_OK;
}

} // namespace tessit
