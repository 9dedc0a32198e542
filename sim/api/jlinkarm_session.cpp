// The J-Link functions about probes, the session and its settings.
#include "jlinkarm_api.h"
#include "sim/api/call.h"
#include "sim/jlink/commands.h"

#include <algorithm>
#include <cstring>
#include <span>

using namespace jlinksim;

namespace {

// 6.10: new enough for every host.
constexpr std::uint32_t library_version = 61000;
constexpr std::uint32_t usb_mask = 1;

const char* text_or_empty(const char* text)
{
    return text == nullptr ? "" : text;
}

/// Copy into a buffer of the caller's, cut to fit, always terminated.
void put_text(std::string_view text, char* buffer, std::size_t size)
{
    if (buffer == nullptr || size == 0) {
        return;
    }
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

std::int32_t list_probes(Session& session, std::span<jlinkarm_probe_record_t> records)
{
    std::size_t count = 0;
    for (const Probe& probe : session.bench().probes()) {
        if (!probe.is_plugged()) {
            continue;
        }
        if (count < records.size()) {
            records[count] = {};
            records[count].serial_number = probe.serial_number();
            records[count].connection = usb_mask;
        }
        ++count;
    }
    return static_cast<std::int32_t>(count);
}

bool read_hardware_status(Session& session, jlinkarm_hardware_status_t* status)
{
    Probe* const probe = session.require_probe();
    if (probe == nullptr || status == nullptr) {
        return false;
    }
    session.spend(0);
    *status = {};
    status->supply_millivolts = static_cast<std::uint16_t>(probe->supply_millivolts());
    Chip* const chip = session.find_chip();
    status->pins[4] = chip != nullptr && !chip->is_reset_line_low() ? 1 : 0;
    return true;
}

bool select_interface(Session& session, std::int32_t interface_number)
{
    if (session.require_probe() == nullptr) {
        return false;
    }
    session.spend(0);
    if (interface_number != 0 && interface_number != 1) {
        session.bench().records().add("target-interface", fmt::format("there is no interface {}", interface_number));
        return false;
    }
    session.settings().target_interface = static_cast<TargetInterface>(interface_number);
    return true;
}

void set_speed(Session& session, std::uint32_t kilohertz)
{
    if (session.require_probe() == nullptr) {
        return;
    }
    session.spend(0);
    session.settings().speed_khz = kilohertz == 0
                                       ? timing::default_speed_khz
                                       : std::clamp(kilohertz, timing::lowest_speed_khz, timing::highest_speed_khz);
}

std::string run_command(Session& session, const char* command)
{
    if (session.require_probe() == nullptr) {
        return "No probe is open.";
    }
    return execute_command(session, text_or_empty(command));
}

} // namespace

uint8_t JLINKARM_CALL JLINKARM_IsOpen(void)
{
    return simulate<std::uint8_t>("JLINKARM_IsOpen", 0, no_arguments,
                                  [](Session& session) -> std::uint8_t { return session.is_open() ? 1 : 0; });
}

const char* JLINKARM_CALL JLINKARM_OpenEx(jlinkarm_log_t log, jlinkarm_log_t error)
{
    static std::string ordered_text; // the caller keeps the pointer until its next call
    return simulate<const char*>(
        "JLINKARM_OpenEx", "The simulated bench cannot be opened; the reason is on standard error.", no_arguments,
        [=](Session& session) { return session.open(log, error); },
        [](const Fault& fault) {
            ordered_text = fault.error_text;
            return fault.error_text.empty() ? "Ordered to fail." : ordered_text.c_str();
        });
}

void JLINKARM_CALL JLINKARM_Close(void)
{
    simulate("JLINKARM_Close", Nothing{}, no_arguments, [](Session& session) {
        session.close();
        return Nothing{};
    });
}

void JLINKARM_CALL JLINKARM_EnableLogCom(jlinkarm_log_t log)
{
    simulate("JLINKARM_EnableLogCom", Nothing{}, no_arguments, [=](Session& session) {
        session.set_log(log);
        return Nothing{};
    });
}

uint8_t JLINKARM_CALL JLINKARM_IsConnected(void)
{
    return simulate<std::uint8_t>("JLINKARM_IsConnected", 0, no_arguments,
                                  [](Session& session) -> std::uint8_t { return session.is_connected() ? 1 : 0; });
}

int32_t JLINKARM_CALL JLINKARM_Connect(void)
{
    return simulate<std::int32_t>("JLINKARM_Connect", -1, no_arguments,
                                  [](Session& session) { return session.connect(); });
}

int32_t JLINKARM_CALL JLINKARM_GetSN(void)
{
    return simulate<std::int32_t>("JLINKARM_GetSN", -1, no_arguments, [](Session& session) {
        const Probe* const probe = session.require_probe();
        return probe == nullptr ? -1 : static_cast<std::int32_t>(probe->serial_number());
    });
}

void JLINKARM_CALL JLINKARM_GetFirmwareString(char* buffer, uint32_t size)
{
    simulate(
        "JLINKARM_GetFirmwareString", Nothing{}, [=] { return fmt::format("{}", size); },
        [=](Session& session) {
            const Probe* const probe = session.require_probe();
            put_text(probe == nullptr ? "" : probe->config().firmware_text, buffer, size);
            return Nothing{};
        });
}

uint32_t JLINKARM_CALL JLINKARM_GetDLLVersion(void)
{
    return simulate<std::uint32_t>("JLINKARM_GetDLLVersion", library_version, no_arguments,
                                   [](Session& /*session*/) { return library_version; });
}

uint8_t JLINKARM_CALL JLINKARM_HasError(void)
{
    // Hosts ask after every call: only an error is worth a line in the trace.
    Session* const session = Library::instance().find_session();
    if (session == nullptr ||
        (session->pending_error() == 0 && !session->bench().faults().expects("JLINKARM_HasError"))) {
        return 0;
    }
    return simulate<std::uint8_t>("JLINKARM_HasError", 0, no_arguments, [](Session& open) {
        return static_cast<std::uint8_t>(std::min(open.pending_error(), 0xFFU));
    });
}

void JLINKARM_CALL JLINKARM_ClrError(void)
{
    simulate("JLINKARM_ClrError", Nothing{}, no_arguments, [](Session& session) {
        session.set_pending_error(0);
        return Nothing{};
    });
}

uint32_t JLINKARM_CALL JLINKARM_EMU_GetNumDevices(void)
{
    return simulate<std::uint32_t>("JLINKARM_EMU_GetNumDevices", 0, no_arguments, [](Session& session) {
        session.bench().clock().advance(timing::usb_round_trip_ns);
        return static_cast<std::uint32_t>(list_probes(session, {}));
    });
}

int32_t JLINKARM_CALL JLINKARM_EMU_GetList(uint32_t interfaces, jlinkarm_probe_record_t* records, uint32_t capacity)
{
    return simulate<std::int32_t>(
        "JLINKARM_EMU_GetList", -1, [=] { return fmt::format("{}, {}", interfaces, capacity); },
        [=](Session& session) -> std::int32_t {
            session.bench().clock().advance(timing::usb_round_trip_ns);
            if ((interfaces & usb_mask) == 0) {
                return 0;
            }
            return list_probes(session, {records, records == nullptr ? 0 : capacity});
        });
}

int32_t JLINKARM_CALL JLINKARM_EMU_SelectByUSBSN(uint32_t serial_number)
{
    return simulate<std::int32_t>(
        "JLINKARM_EMU_SelectByUSBSN", -1, [=] { return fmt::format("{}", serial_number); },
        [=](Session& session) { return session.select(serial_number); });
}

int32_t JLINKARM_CALL JLINKARM_ExecCommand(const char* command, char* error, int32_t error_size)
{
    const std::size_t room = error_size < 0 ? 0 : static_cast<std::size_t>(error_size);
    const auto answer = [=](const std::string& text) {
        put_text(text, error, room);
        return text.empty() ? 0 : -1;
    };
    return simulate<std::int32_t>(
        "JLINKARM_ExecCommand", -1, [=] { return fmt::format("\"{}\"", text_or_empty(command)); },
        [=](Session& session) { return answer(run_command(session, command)); },
        [=](const Fault& fault) { return fault.result.value_or(answer(fault.error_text)); });
}

int32_t JLINKARM_CALL JLINKARM_GetHWStatus(jlinkarm_hardware_status_t* status)
{
    return simulate<std::int32_t>("JLINKARM_GetHWStatus", 1, no_arguments,
                                  [=](Session& session) { return read_hardware_status(session, status) ? 0 : 1; });
}

int32_t JLINKARM_CALL JLINKARM_TIF_Select(int32_t interface_number)
{
    return simulate<std::int32_t>(
        "JLINKARM_TIF_Select", -1, [=] { return fmt::format("{}", interface_number); },
        [=](Session& session) { return select_interface(session, interface_number) ? 0 : -1; });
}

void JLINKARM_CALL JLINKARM_SetSpeed(uint32_t kilohertz)
{
    simulate(
        "JLINKARM_SetSpeed", Nothing{}, [=] { return fmt::format("{}", kilohertz); },
        [=](Session& session) {
            set_speed(session, kilohertz);
            return Nothing{};
        });
}
