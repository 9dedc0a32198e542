#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/qspi/qspi_configuration.h"
#include "src/ram_power/ram_power.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_init(std::uint8_t retain_ram, const qspi_init_config_t* init_params)
{
    Export op{"qspi_init"};
    RETURN_IF_FAILED(op.require(init_params != nullptr, "Invalid init_params pointer provided."));
    // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): refused above
    RETURN_IF_FAILED(require_valid_configuration(*init_params));
    RETURN_IF_FAILED(op.refuse_when(session.qspi_initialized, "qspi_init has already been called"));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(require_qspi_on_device());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(power_ram_all());
    session.qspi_ram_backup_held = false; // the backup of an init that failed is of no use
    if (retain_ram != 0) {
        RETURN_IF_FAILED(back_up_staging_areas());
    }
    RETURN_IF_FAILED(activate_qspi(*init_params));
    session.qspi = {.address_mode = init_params->address_mode,
                    .wip_index = init_params->WIP_index,
                    .custom_instruction_io2_level = init_params->custom_instruction_io2_level,
                    .custom_instruction_io3_level = init_params->custom_instruction_io3_level};
    session.qspi_initialized = true;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_uninit(void)
{
    Export op{"qspi_uninit"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(require_qspi_on_device());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(deactivate_qspi());
    RETURN_IF_FAILED(restore_staging_areas());
    session.qspi_ram_backup_held = false;
    session.qspi_initialized = false;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_qspi_init(bool* initialized)
{
    Export op{"is_qspi_init"};
    RETURN_IF_FAILED(op.require(initialized != nullptr, "Invalid initialized pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    *initialized = session.qspi_initialized;
    return RESULT_OK;
}
