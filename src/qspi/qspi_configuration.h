#pragma once

#include "jlinkarm_birch_tessit.h"

/// Configuring and releasing the QSPI peripheral.
namespace tessit {

/// The checks of the configuration record, in their order.
result_code_t require_valid_configuration(const qspi_init_config_t& config);

/// ERR_UNSUPPORTED_ON_DEVICE or ERR_UNEXPECTED_CHIP_VERSION (without a log line) on a chip without the peripheral.
result_code_t require_qspi_on_device();

/// Keep the staging areas' content on the host. A backup that could not be read whole is not held.
result_code_t back_up_staging_areas();
/// Put it back, when it is held.
result_code_t restore_staging_areas();

/// Configure pins and peripheral, and activate it.
result_code_t activate_qspi(const qspi_init_config_t& config);
/// Deactivate and disable it.
result_code_t deactivate_qspi();

/// Poll the ready event without delay. Callers clear it before they start a task. ERR_FLASH_CONTROLLER_TIMEOUT when the
/// session's bound is reached.
result_code_t qspi_wait_for_ready();

} // namespace tessit
