#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/ram_power/ram_power.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_count(std::uint32_t* ram_sections_count)
{
    Export op{"read_ram_sections_count"};
    RETURN_IF_FAILED(op.require(ram_sections_count != nullptr, "Invalid ram_sections_count pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    return read_ram_sections_count(ram_sections_count);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_size(std::uint32_t* ram_sections_size,
                                                                   std::uint32_t ram_sections_size_len)
{
    Export op{"read_ram_sections_size"};
    RETURN_IF_FAILED(op.require(ram_sections_size != nullptr, "Invalid ram_sections_size pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    std::uint32_t count = 0;
    RETURN_IF_FAILED(read_ram_sections_count(&count));
    RETURN_IF_FAILED(op.require(ram_sections_size_len >= count,
                                "Invalid ram_sections_size pointer provided. Its size ram_sections_size_len is not big "
                                "enough to store the power status of all the RAM sections in the device."));
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    for (std::uint32_t index = 0; index < chip->ram_sections; ++index) {
        ram_sections_size[index] = ram_section(index).size;
    }
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_ram_sections_power_status(
    ram_power_status_t* ram_sections_power_status, std::uint32_t ram_sections_power_status_len)
{
    Export op{"read_ram_sections_power_status"};
    RETURN_IF_FAILED(
        op.require(ram_sections_power_status != nullptr, "Invalid ram_sections_power_status pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    std::uint32_t count = 0;
    RETURN_IF_FAILED(read_ram_sections_count(&count));
    RETURN_IF_FAILED(op.require(
        ram_sections_power_status_len >= count,
        "Invalid ram_sections_power_status pointer provided. Its size ram_sections_power_status_len is not big "
        "enough to store the power status of all the RAM sections in the device."));
    return read_ram_sections_power_status(ram_sections_power_status);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_ram_powered(ram_power_status_t* ram_sections_power_status,
                                                           std::uint32_t ram_sections_power_status_len,
                                                           std::uint32_t* ram_sections_number,
                                                           std::uint32_t* ram_sections_size)
{
    Export op{"is_ram_powered"};
    RETURN_IF_FAILED(op.require(ram_sections_number != nullptr, "Invalid ram_sections_number pointer provided."));
    RETURN_IF_FAILED(op.require(ram_sections_size != nullptr, "Invalid ram_sections_size pointer provided."));
    RETURN_IF_FAILED(op.require(ram_sections_power_status != nullptr || ram_sections_power_status_len == 0,
                                "Invalid ram_sections_power_status pointer provided. It is NULL but it indicates its "
                                "size is different than 0."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    if (chip->ram_sections > small_ram_sections) {
        log_message("This API function is deprecated for this device. Please see header file for more information.");
        return ERR_UNSUPPORTED_ON_DEVICE;
    }
    RETURN_IF_FAILED(read_ram_sections_count(ram_sections_number));
    *ram_sections_size = small_ram_section_size;
    if (ram_sections_power_status_len == 0) {
        return RESULT_OK;
    }
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): refused above
    RETURN_IF_FAILED(op.require(ram_sections_power_status_len >= *ram_sections_number,
                                "Invalid ram_sections_power_status pointer provided. Its size is not big enough to "
                                "store the power status of the RAM of the device."));
    return read_ram_sections_power_status(ram_sections_power_status);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_power_ram_all(void)
{
    Export op{"power_ram_all"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return power_ram_all();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_unpower_ram_section(std::uint32_t section_index)
{
    Export op{"unpower_ram_section"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    std::uint32_t count = 0;
    RETURN_IF_FAILED(read_ram_sections_count(&count));
    RETURN_IF_FAILED(op.require(section_index < count, "Invalid section_index provided."));
    return unpower_ram_section(section_index);
}
