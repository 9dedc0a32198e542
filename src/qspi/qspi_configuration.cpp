#include "src/qspi/qspi_configuration.h"

#include "src/frame/poll_bound.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/qspi/qspi_registers.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"

#include <array>

namespace tessit {
namespace {

using Config = qspi_init_config_t;

// A field with a closed set of codes.
struct CodedField
{
    const char* name;
    const char* type;
    bool (*is_valid)(const Config& config);
};

constexpr std::array coded_fields{
    CodedField{"read_mode", "qspi_read_mode_t", [](const Config& c) { return c.read_mode <= READ_MODE_CODE_4; }},
    CodedField{"write_mode", "qspi_write_mode_t", [](const Config& c) { return c.write_mode <= WRITE_MODE_CODE_3; }},
    CodedField{"address_mode", "qspi_address_mode_t",
               [](const Config& c) { return c.address_mode <= ADDRESS_MODE_32BIT; }},
    CodedField{"frequency", "qspi_frequency_t",
               [](const Config& c) {
                   return c.frequency == FREQ_DIV1 || c.frequency == FREQ_DIV2 || c.frequency == FREQ_DIV4 ||
                          c.frequency == FREQ_DIV8 || c.frequency == FREQ_DIV16;
               }},
    CodedField{"spi_mode", "qspi_spi_mode_t", [](const Config& c) { return c.spi_mode <= SPI_MODE_CODE_1; }},
    CodedField{"custom_instruction_io2_level", "qspi_level_io_t",
               [](const Config& c) { return c.custom_instruction_io2_level <= LEVEL_HIGH; }},
    CodedField{"custom_instruction_io3_level", "qspi_level_io_t",
               [](const Config& c) { return c.custom_instruction_io3_level <= LEVEL_HIGH; }},
};

constexpr CodedField page_program_size_field{"PPSize", "qspi_page_program_size_t",
                                             [](const Config& c) { return c.PPSize <= PP_SIZE_CODE_1; }};

// A line of the interface, in the order in which pins are checked and configured.
struct Line
{
    const char* name;
    std::uint32_t Config::*pin;
    std::uint32_t Config::*port;
    std::uint32_t select_register;
};

constexpr std::array lines{
    Line{"CSN", &Config::CSN_pin, &Config::CSN_port, qspi_registers::csn_select},
    Line{"CLK", &Config::CLK_pin, &Config::CLK_port, qspi_registers::clk_select},
    Line{"DIO0", &Config::DIO0_pin, &Config::DIO0_port, qspi_registers::dio0_select},
    Line{"DIO1", &Config::DIO1_pin, &Config::DIO1_port, qspi_registers::dio1_select},
    Line{"DIO2", &Config::DIO2_pin, &Config::DIO2_port, qspi_registers::dio2_select},
    Line{"DIO3", &Config::DIO3_pin, &Config::DIO3_port, qspi_registers::dio3_select},
};

constexpr std::array<std::uint32_t, 2> pins_of_port{32, 16};

// `field` is its name in two parts.
template <class... Why>
result_code_t require_field(bool holds, std::array<const char*, 2> field, const Why&... why)
{
    if (holds) {
        return RESULT_OK;
    }
    log_message("Invalid init_params->", field[0], field[1], " provided. The value received ", why...);
    return ERR_BAD_ARGUMENT;
}

result_code_t require_code(const Config& config, const CodedField& field)
{
    return require_field(field.is_valid(config), {field.name, ""}, "cannot be encoded in a ", field.type, ".");
}

result_code_t require_line(const Config& config, const Line& line)
{
    const std::uint32_t port = config.*line.port;
    const bool port_exists = port < pins_of_port.size();
    RETURN_IF_FAILED(require_field(port_exists, {line.name, "_port"}, "is not a valid port."));
    const bool pin_exists = config.*line.pin < pins_of_port[port];
    return require_field(pin_exists, {line.name, "_pin"}, "is not a valid pin address.");
}

std::uint32_t interface_configuration_0(const Config& config)
{
    return config.read_mode | config.write_mode << 3 | config.address_mode << 6 | config.PPSize << 12;
}

std::uint32_t interface_configuration_1(const Config& config)
{
    return config.sck_delay | qspi_registers::interface_configuration_1_constant | config.spi_mode << 25 |
           config.frequency << 28;
}

} // namespace

result_code_t require_valid_configuration(const qspi_init_config_t& config)
{
    for (const CodedField& field : coded_fields) {
        RETURN_IF_FAILED(require_code(config, field));
    }
    RETURN_IF_FAILED(require_field(config.sck_delay <= 255, {"sck_delay", ""}, "is not between 0 and 255."));
    for (const Line& line : lines) {
        RETURN_IF_FAILED(require_line(config, line));
    }
    RETURN_IF_FAILED(require_field(config.WIP_index <= 7, {"WIP_index", ""}, "is not between 0 and 7."));
    return require_code(config, page_program_size_field);
}

result_code_t require_qspi_on_device()
{
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    return chip->has_qspi ? RESULT_OK : ERR_UNSUPPORTED_ON_DEVICE;
}

result_code_t back_up_staging_areas()
{
    RETURN_IF_FAILED(
        read(qspi_registers::read_staging, session.qspi_read_staging_backup.data(), qspi_registers::staging_size));
    RETURN_IF_FAILED(
        read(qspi_registers::write_staging, session.qspi_write_staging_backup.data(), qspi_registers::staging_size));
    session.qspi_ram_backup_held = true;
    return RESULT_OK;
}

result_code_t restore_staging_areas()
{
    if (!session.qspi_ram_backup_held) {
        return RESULT_OK;
    }
    RETURN_IF_FAILED(write(qspi_registers::read_staging, session.qspi_read_staging_backup.data(),
                           qspi_registers::staging_size, false));
    return write(qspi_registers::write_staging, session.qspi_write_staging_backup.data(), qspi_registers::staging_size,
                 false);
}

result_code_t activate_qspi(const qspi_init_config_t& config)
{
    for (const Line& line : lines) {
        RETURN_IF_FAILED(write_register(qspi_registers::pin_configuration(config.*line.port, config.*line.pin),
                                        qspi_registers::pin_configuration_value));
    }
    for (const Line& line : lines) {
        RETURN_IF_FAILED(write_register(line.select_register,
                                        qspi_registers::pin_select_value(config.*line.port, config.*line.pin)));
    }
    RETURN_IF_FAILED(write_register(qspi_registers::interface_configuration_0, interface_configuration_0(config)));
    RETURN_IF_FAILED(write_register(qspi_registers::interface_configuration_1, interface_configuration_1(config)));
    RETURN_IF_FAILED(write_register(qspi_registers::interface_timing, qspi_registers::interface_timing_value));
    RETURN_IF_FAILED(write_register(qspi_registers::enable, 1));
    RETURN_IF_FAILED(write_register(qspi_registers::ready_event, 0));
    RETURN_IF_FAILED(write_register(qspi_registers::activate_task, 1));
    return qspi_wait_for_ready();
}

result_code_t deactivate_qspi()
{
    RETURN_IF_FAILED(write_register(qspi_registers::deactivate_task, 1));
    RETURN_IF_FAILED(write_register(qspi_registers::post_deactivate, 1));
    return write_register(qspi_registers::enable, 0);
}

result_code_t qspi_wait_for_ready()
{
    FunctionTag tag{"qspi_wait_for_ready"};
    PollBound bound{session.qspi_bounds.ready_event, shortest_request};
    std::uint32_t ready = 0;
    while (true) {
        RETURN_IF_FAILED(read_u32(qspi_registers::ready_event, &ready));
        if (ready != 0) {
            return RESULT_OK;
        }
        if (bound.is_reached()) {
            log_message("QSPI ready event never comes.");
            return ERR_FLASH_CONTROLLER_TIMEOUT;
        }
    }
}

} // namespace tessit
