#include "src/ram_power/ram_power.h"

#include "src/frame/result.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"

#include <array>

namespace tessit {
namespace {

constexpr std::uint32_t blocks = 9;

// RAM power registers of the POWER block, one group for each RAM block.
constexpr std::uint32_t power_register(std::uint32_t block)
{
    return 0x40000900 + 0x10 * block;
}

constexpr std::uint32_t power_set_register(std::uint32_t block)
{
    return 0x40000904 + 0x10 * block;
}

constexpr std::uint32_t power_clear_register(std::uint32_t block)
{
    return 0x40000908 + 0x10 * block;
}

} // namespace

result_code_t read_ram_sections_count(std::uint32_t* count)
{
    FunctionTag tag{"read_ram_sections_count"};
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    *count = chip->ram_sections;
    return RESULT_OK;
}

result_code_t read_ram_sections_power_status(ram_power_status_t* statuses)
{
    FunctionTag tag{"read_ram_sections_power_status"};
    std::array<std::uint32_t, blocks> powers{};
    for (std::uint32_t block = 0; block < blocks; ++block) {
        RETURN_IF_FAILED(read_u32(power_register(block), &powers[block]));
    }
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    for (std::uint32_t index = 0; index < chip->ram_sections; ++index) {
        const RamSection section = ram_section(index);
        const bool is_on = (powers[section.block] >> section.bit & 1) != 0;
        statuses[index] = is_on ? RAM_SECTION_ON : RAM_SECTION_OFF;
    }
    return RESULT_OK;
}

result_code_t power_ram_all()
{
    FunctionTag tag{"power_ram_all"};
    for (std::uint32_t block = 0; block < blocks; ++block) {
        RETURN_IF_FAILED(write_register(power_set_register(block), 0xFFFF));
    }
    return RESULT_OK;
}

result_code_t unpower_ram_section(std::uint32_t section)
{
    const RamSection place = ram_section(section);
    return write_register(power_clear_register(place.block), std::uint32_t{1} << place.bit);
}

} // namespace tessit
