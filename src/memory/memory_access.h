#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Target memory and the flash controller: the only way by which any other part of the library touches the target's
/// memory and registers. Addresses go to the probe unchanged. Nothing here checks arguments or state.
namespace tessit {

/// Each read invalidates the J-Link library's cache first.
result_code_t read_u32(std::uint32_t addr, std::uint32_t* data);
result_code_t read(std::uint32_t addr, std::uint8_t* buffer, std::uint32_t length);

/// With use_nvmc, inside the flash controller's write bracket.
result_code_t write_u32(std::uint32_t addr, std::uint32_t data, bool use_nvmc);

/// The plain write, of a register of the target.
inline result_code_t write_register(std::uint32_t addr, std::uint32_t value)
{
    return write_u32(addr, value, false);
}

/// One block write of the whole words, and one merged word for a tail of 1 to 3 bytes.
result_code_t write(std::uint32_t addr, const std::uint8_t* buffer, std::uint32_t length, bool use_nvmc);

/// Write whole words of the factory information area: unlocks it, and locks it again.
result_code_t ficrwrite(std::uint32_t addr, const std::uint8_t* buffer, std::uint32_t length);

/// Write the flash controller's configuration register.
result_code_t nvmc_config_control(std::uint32_t configuration);

/// Poll the flash controller without delay. ERR_FLASH_CONTROLLER_TIMEOUT after 100000 reads.
result_code_t nvmc_wait_for_ready();

/// nvmc_config_control, then nvmc_wait_for_ready.
result_code_t nvmc_switch_to(std::uint32_t configuration);

/// Write a register of the flash controller, then wait until what it started is done.
result_code_t nvmc_write_and_wait(std::uint32_t addr, std::uint32_t data);

} // namespace tessit
