#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Raw CoreSight register accesses (ARM Debug Interface v5). CoreSight is configured and debug power requested on first
/// use in a probe session; no copy of SELECT is cached. Nothing here checks arguments or state.
namespace tessit {

result_code_t read_debug_port_register(std::uint8_t reg_addr, std::uint32_t* data);
result_code_t write_debug_port_register(std::uint8_t reg_addr, std::uint32_t data);
result_code_t read_access_port_register(std::uint8_t ap_index, std::uint8_t reg_addr, std::uint32_t* data);
result_code_t write_access_port_register(std::uint8_t ap_index, std::uint8_t reg_addr, std::uint32_t data);

/// The steps of read_debug_port_register without a tag of their own.
result_code_t read_debug_port_register_untagged(std::uint8_t reg_addr, std::uint32_t* data);

result_code_t coresight_configure();
result_code_t power_debug_and_system_regions();
/// Nothing to do when debug power has not been requested.
result_code_t unpower_debug_and_system_regions();

} // namespace tessit
