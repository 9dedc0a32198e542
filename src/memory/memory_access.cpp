#include "src/memory/memory_access.h"

#include "src/frame/result.h"
#include "src/jlink/jlink.h"
#include "src/log/logger.h"
#include "src/memory/nvmc_registers.h"

#include <algorithm>
#include <array>

namespace tessit {
namespace {

constexpr std::uint32_t word_size = 4;
constexpr const char* invalidate_cache = "InvalidateCache";

result_code_t open_write_bracket()
{
    return nvmc_switch_to(nvmc::write_enable);
}

result_code_t close_write_bracket()
{
    RETURN_IF_FAILED(nvmc_wait_for_ready());
    return nvmc_switch_to(nvmc::read_only);
}

result_code_t write_block(std::uint32_t addr, const std::uint8_t* buffer, std::uint32_t length)
{
    const std::int32_t result = checked(jlink().JLINKARM_WriteMem)(addr, length, buffer);
    return result < 0 ? jlink_failure("WriteMem", result) : RESULT_OK;
}

// Write 1 to 3 bytes by rewriting the word that they begin.
result_code_t write_tail(std::uint32_t addr, const std::uint8_t* tail, std::uint32_t length)
{
    std::array<std::uint8_t, word_size> word{};
    RETURN_IF_FAILED(read(addr, word.data(), word_size));
    std::copy_n(tail, length, word.begin());
    return write_block(addr, word.data(), word_size);
}

} // namespace

result_code_t read_u32(std::uint32_t addr, std::uint32_t* data)
{
    FunctionTag tag{"read_u32"};
    RETURN_IF_FAILED(exec_command(invalidate_cache));
    std::uint8_t status = 0;
    const std::int32_t result = checked(jlink().JLINKARM_ReadMemU32)(addr, 1, data, &status);
    if (result < 0) {
        return jlink_failure("ReadMemU32", result);
    }
    if (status != 0) {
        log_message("JLinkARM.dll ReadMemU32 returned status ", unsigned{status}, ".");
        return ERR_JLINK_CALL_FAILED;
    }
    return RESULT_OK;
}

result_code_t read(std::uint32_t addr, std::uint8_t* buffer, std::uint32_t length)
{
    FunctionTag tag{"read"};
    RETURN_IF_FAILED(exec_command(invalidate_cache));
    const std::int32_t result = checked(jlink().JLINKARM_ReadMem)(addr, length, buffer);
    return result != 0 ? jlink_failure("ReadMem", result) : RESULT_OK;
}

result_code_t write_u32(std::uint32_t addr, std::uint32_t data, bool use_nvmc)
{
    FunctionTag tag{"write_u32"};
    if (use_nvmc) {
        RETURN_IF_FAILED(open_write_bracket());
    }
    const std::int32_t result = checked(jlink().JLINKARM_WriteU32)(addr, data);
    if (result != 0) {
        return jlink_failure("WriteU32", result);
    }
    return use_nvmc ? close_write_bracket() : RESULT_OK;
}

result_code_t write(std::uint32_t addr, const std::uint8_t* buffer, std::uint32_t length, bool use_nvmc)
{
    FunctionTag tag{"write"};
    if (use_nvmc) {
        RETURN_IF_FAILED(open_write_bracket());
    }
    const std::uint32_t tail = length % word_size;
    const std::uint32_t whole = length - tail;
    RETURN_IF_FAILED(write_block(addr, buffer, whole));
    if (tail != 0) {
        RETURN_IF_FAILED(write_tail(addr + whole, buffer + whole, tail));
    }
    return use_nvmc ? close_write_bracket() : RESULT_OK;
}

result_code_t ficrwrite(std::uint32_t addr, const std::uint8_t* buffer, std::uint32_t length)
{
    FunctionTag tag{"ficrwrite"};
    RETURN_IF_FAILED(nvmc_switch_to(nvmc::read_only));
    RETURN_IF_FAILED(nvmc_write_and_wait(nvmc::key, nvmc::ficr_write_key));
    RETURN_IF_FAILED(nvmc_switch_to(nvmc::write_enable));
    RETURN_IF_FAILED(write_block(addr, buffer, length));
    RETURN_IF_FAILED(nvmc_wait_for_ready());
    RETURN_IF_FAILED(nvmc_switch_to(nvmc::read_only));
    return nvmc_write_and_wait(nvmc::key, nvmc::locked);
}

result_code_t nvmc_config_control(std::uint32_t configuration)
{
    FunctionTag tag{"nvmc_config_control"};
    return write_register(nvmc::configuration, configuration);
}

result_code_t nvmc_wait_for_ready()
{
    FunctionTag tag{"nvmc_wait_for_ready"};
    constexpr int polls = 100'000;
    std::uint32_t ready = 0;
    for (int poll = 0; poll < polls && ready != 1; ++poll) {
        RETURN_IF_FAILED(read_u32(nvmc::ready, &ready));
    }
    if (ready != 0) {
        return RESULT_OK;
    }
    log_message("NVMC controller never gets ready.");
    return ERR_FLASH_CONTROLLER_TIMEOUT;
}

result_code_t nvmc_switch_to(std::uint32_t configuration)
{
    RETURN_IF_FAILED(nvmc_config_control(configuration));
    return nvmc_wait_for_ready();
}

result_code_t nvmc_write_and_wait(std::uint32_t addr, std::uint32_t data)
{
    RETURN_IF_FAILED(write_register(addr, data));
    return nvmc_wait_for_ready();
}

} // namespace tessit
