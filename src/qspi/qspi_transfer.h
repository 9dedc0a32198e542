#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Transfers between the host and the external flash, through the staging areas. Nothing here checks arguments or
/// state.
namespace tessit {

/// Partial words at either end are moved as whole words of their own; only the bytes asked for reach `data`.
result_code_t qspi_read_flash(std::uint32_t addr, std::uint8_t* data, std::uint32_t length);

/// Partial words at either end are written with 0xFF around the bytes, which leaves what is there.
result_code_t qspi_write_flash(std::uint32_t addr, const std::uint8_t* data, std::uint32_t length);

/// Start an erase and wait until the flash's write-in-progress bit is 0. ERR_FLASH_CONTROLLER_TIMEOUT when the
/// session's bound is reached.
result_code_t qspi_erase_flash(std::uint32_t addr, qspi_erase_len_t length);

/// Send one instruction of `instruction_length` bytes, opcode included. Either buffer may be null.
result_code_t qspi_custom(std::uint8_t instruction_code, std::uint32_t instruction_length, const std::uint8_t* data_in,
                          std::uint8_t* data_out);

} // namespace tessit
