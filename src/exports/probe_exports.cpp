#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/probe/probe.h"

using namespace tessit;

namespace {

bool is_valid_speed(std::uint32_t swd_speed_khz)
{
    return swd_speed_khz >= 125 && swd_speed_khz <= 50000;
}

// What both connect exports check before a session is opened.
result_code_t require_connectable(const Export& op, std::uint32_t swd_speed_khz)
{
    RETURN_IF_FAILED(op.require(is_valid_speed(swd_speed_khz), "Invalid SWD speed requested."));
    RETURN_IF_FAILED(op.require_open());
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_emu(&connected));
    RETURN_IF_FAILED(
        op.refuse_when(connected, "connect_to_emu_without_snr or connect_to_emu_with_snr has already been called"));
    std::uint32_t probes = 0;
    RETURN_IF_FAILED(enum_emu_snr(nullptr, 0, &probes));
    if (op.refuse_when(probes == 0, "there is no emulator connected") != RESULT_OK) {
        return ERR_NO_PROBE_ATTACHED;
    }
    return RESULT_OK;
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_enum_emu_snr(std::uint32_t* serial_numbers,
                                                         std::uint32_t serial_numbers_len, std::uint32_t* num_available)
{
    Export op{"enum_emu_snr"};
    RETURN_IF_FAILED(op.require(num_available != nullptr, "Invalid num_available pointer provided."));
    RETURN_IF_FAILED(op.require(serial_numbers != nullptr || serial_numbers_len == 0,
                                "Invalid serial_numbers pointer provided when the serial_numbers_len is not 0."));
    RETURN_IF_FAILED(op.require_open());
    return enum_emu_snr(serial_numbers, serial_numbers_len, num_available);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_connected_to_emu(bool* is_pc_connected_to_emu)
{
    Export op{"is_connected_to_emu"};
    RETURN_IF_FAILED(op.require(is_pc_connected_to_emu != nullptr, "Invalid is_pc_connected_to_emu pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    return is_connected_to_emu(is_pc_connected_to_emu);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_emu_with_snr(std::uint32_t serial_number,
                                                                    std::uint32_t swd_speed_khz)
{
    Export op{"connect_to_emu_with_snr"};
    RETURN_IF_FAILED(require_connectable(op, swd_speed_khz));
    return connect_to_emu_with_snr(serial_number, swd_speed_khz);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_connect_to_emu_without_snr(std::uint32_t swd_speed_khz)
{
    Export op{"connect_to_emu_without_snr"};
    RETURN_IF_FAILED(require_connectable(op, swd_speed_khz));
    return connect_to_emu_without_snr(swd_speed_khz);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_connected_emu_snr(std::uint32_t* serial_number)
{
    Export op{"read_connected_emu_snr"};
    RETURN_IF_FAILED(op.require(serial_number != nullptr, "Invalid serial_number pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    *serial_number = session.connected_emu_snr;
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_connected_emu_fwstr(char* buffer, std::uint32_t buffer_size)
{
    Export op{"read_connected_emu_fwstr"};
    RETURN_IF_FAILED(op.require(buffer != nullptr, "Invalid buffer pointer provided."));
    RETURN_IF_FAILED(op.require(buffer_size <= 0x7FFFFFFF, "Invalid buffer_size provided."));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    checked(jlink().JLINKARM_GetFirmwareString)(buffer, buffer_size);
    return RESULT_OK;
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_disconnect_from_emu(void)
{
    Export op{"disconnect_from_emu"};
    RETURN_IF_FAILED(op.require_open());
    bool connected = false;
    RETURN_IF_FAILED(is_connected_to_emu(&connected));
    return connected ? disconnect_from_emu() : RESULT_OK;
}
