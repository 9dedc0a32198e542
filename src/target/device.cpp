#include "src/target/device.h"

#include "src/debugport/debug_port_access.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/probe/probe.h"
#include "src/target/chip_versions.h"
#include "src/target/target_registers.h"

#include <algorithm>
#include <array>
#include <functional>

namespace tessit {
namespace {

// A CTRL-AP register's value is believed when four reads in a row agree; a chip that starts up or resets can answer
// anything in between.
result_code_t read_agreed_ctrl_ap_register(std::uint8_t reg_addr, std::uint32_t* value)
{
    constexpr int rounds = 10;
    for (int round = 0; round < rounds; ++round) {
        std::array<std::uint32_t, 4> reads{};
        for (std::uint32_t& read : reads) {
            RETURN_IF_FAILED(read_access_port_register(ctrl_ap::index, reg_addr, &read));
        }
        if (std::ranges::adjacent_find(reads, std::not_equal_to{}) == reads.end()) {
            *value = reads.front();
            return RESULT_OK;
        }
    }
    return ERR_JLINK_CALL_FAILED;
}

result_code_t read_rom_table_identification(std::uint32_t* part, std::uint32_t* revision)
{
    std::uint32_t pidr0 = 0;
    std::uint32_t pidr1 = 0;
    std::uint32_t pidr2 = 0;
    RETURN_IF_FAILED(read_u32(rom_table::pidr0, &pidr0));
    RETURN_IF_FAILED(read_u32(rom_table::pidr1, &pidr1));
    RETURN_IF_FAILED(read_u32(rom_table::pidr2, &pidr2));
    *part = (pidr1 & 0xF) << 8 | (pidr0 & 0xFF);
    *revision = pidr2 >> 4 & 0xF;
    return RESULT_OK;
}

} // namespace

result_code_t connect_to_device()
{
    FunctionTag tag{"connect_to_device"};
    const std::int32_t result = checked(jlink().JLINKARM_Connect)();
    if (result < 0) {
        return jlink_failure("Connect", result, ERR_TARGET_CONNECT_FAILED);
    }
    chip_version_t version = UNKNOWN;
    const result_code_t identified = read_device_version(&version);
    if (identified != RESULT_OK) {
        RETURN_IF_FAILED(disconnect_from_device());
        return identified;
    }
    log_message(TESSIT_LOG_DEVICE_VERSION, chip_version_name(version), ".");
    session.coresight_configured = true;
    return RESULT_OK;
}

result_code_t disconnect_from_device()
{
    FunctionTag tag{"disconnect_from_device"};
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    return connected ? restart_probe_session() : RESULT_OK;
}

result_code_t is_ctrl_ap_available(bool* available)
{
    FunctionTag tag{"is_ctrl_ap_available"};
    std::uint32_t identification = 0;
    RETURN_IF_FAILED(read_agreed_ctrl_ap_register(ctrl_ap::identification, &identification));
    *available = (identification & ctrl_ap::identification_mask) == ctrl_ap::identification_value;
    return RESULT_OK;
}

result_code_t readback_status(readback_protection_status_t* status)
{
    FunctionTag tag{"readback_status"};
    bool available = false;
    RETURN_IF_FAILED(is_ctrl_ap_available(&available));
    if (!available) {
        *status = NONE;
        return RESULT_OK;
    }
    std::uint32_t protection = 0;
    RETURN_IF_FAILED(read_agreed_ctrl_ap_register(ctrl_ap::protection_status, &protection));
    *status = protection == 0 ? FULL : NONE;
    return RESULT_OK;
}

result_code_t read_device_version(chip_version_t* version)
{
    FunctionTag tag{"read_device_version"};
    std::uint32_t part = 0;
    std::uint32_t revision = 0;
    RETURN_IF_FAILED(read_u32(ficr::part, &part));
    RETURN_IF_FAILED(read_u32(ficr::revision, &revision));
    RETURN_IF_FAILED(decode_device_version(part, revision, version));
    if (*version != UNKNOWN) {
        return RESULT_OK;
    }
    RETURN_IF_FAILED(read_rom_table_identification(&part, &revision));
    return decode_device_version(part, revision, version);
}

result_code_t decode_device_version(std::uint32_t part, std::uint32_t revision, chip_version_t* version)
{
    FunctionTag tag{"decode_device_version"};
    std::uint32_t variant = 0;
    RETURN_IF_FAILED(read_u32(ficr::variant, &variant));
    const ChipVersion* const chip = find_by_identification(part, revision, variant == ficr::variant_vb);
    *version = chip != nullptr ? chip->value : UNKNOWN;
    return chip != nullptr || part == ficr::part_absent ? RESULT_OK : ERR_UNKNOWN_DEVICE;
}

result_code_t read_chip(const ChipVersion** chip)
{
    chip_version_t version = UNKNOWN;
    RETURN_IF_FAILED(read_device_version(&version));
    *chip = find_birch(version);
    return *chip != nullptr ? RESULT_OK : ERR_UNEXPECTED_CHIP_VERSION;
}

result_code_t connect_to_unprotected_device()
{
    readback_protection_status_t status = NONE;
    RETURN_IF_FAILED(readback_status(&status));
    return status == NONE ? connect_to_device() : ERR_PROTECTED;
}

result_code_t make_device_ready()
{
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_device(&connected));
    return connected ? RESULT_OK : connect_to_unprotected_device();
}

} // namespace tessit
