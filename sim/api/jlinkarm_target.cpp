// The J-Link functions about the target: memory, CPU, resets, debug and access ports.
#include "jlinkarm_api.h"
#include "sim/api/call.h"
#include "sim/jlink/debug_access.h"
#include "sim/jlink/memory_access.h"
#include "sim/jlink/run_control.h"

#include <algorithm>

using namespace jlinksim;

namespace {

// What the library answers when a run-control call failed; the host looks at the byte only.
constexpr std::uint8_t failed_byte = 1;
constexpr std::uint8_t failed_query = 0xFF;

std::string range_text(std::uint32_t addr, std::uint32_t count)
{
    return fmt::format("0x{:X}, {}", addr, count);
}

} // namespace

uint8_t JLINKARM_CALL JLINKARM_IsHalted(void)
{
    return simulate<std::uint8_t>("JLINKARM_IsHalted", failed_query, no_arguments,
                                  [](Session& session) { return static_cast<std::uint8_t>(is_halted(session)); });
}

uint8_t JLINKARM_CALL JLINKARM_Halt(void)
{
    return simulate<std::uint8_t>("JLINKARM_Halt", failed_byte, no_arguments,
                                  [](Session& session) { return halt(session) ? std::uint8_t{0} : failed_byte; });
}

void JLINKARM_CALL JLINKARM_Go(void)
{
    simulate("JLINKARM_Go", Nothing{}, no_arguments, [](Session& session) {
        go(session);
        return Nothing{};
    });
}

uint8_t JLINKARM_CALL JLINKARM_Step(void)
{
    return simulate<std::uint8_t>("JLINKARM_Step", failed_byte, no_arguments,
                                  [](Session& session) { return step(session) ? std::uint8_t{0} : failed_byte; });
}

int32_t JLINKARM_CALL JLINKARM_ReadMem(uint32_t addr, uint32_t length, void* buffer)
{
    return simulate<std::int32_t>(
        "JLINKARM_ReadMem", -1, [=] { return range_text(addr, length); },
        [=](Session& session) {
            if (buffer == nullptr && length != 0) {
                return -1;
            }
            return read_memory(session, addr, {static_cast<std::uint8_t*>(buffer), length}) ? 0 : -1;
        });
}

int32_t JLINKARM_CALL JLINKARM_ReadMemU32(uint32_t addr, uint32_t count, uint32_t* data, uint8_t* status)
{
    return simulate<std::int32_t>(
        "JLINKARM_ReadMemU32", -1, [=] { return range_text(addr, count); },
        [=](Session& session) {
            if (data == nullptr && count != 0) {
                return -1;
            }
            return read_words(session, addr, {data, count}, status);
        },
        [=](const Fault& fault) {
            if (status != nullptr && count != 0) {
                *status = static_cast<std::uint8_t>(fault.status);
            }
            return fault.result.value_or(0);
        });
}

int32_t JLINKARM_CALL JLINKARM_WriteMem(uint32_t addr, uint32_t length, const void* data)
{
    return simulate<std::int32_t>(
        "JLINKARM_WriteMem", -1, [=] { return range_text(addr, length); },
        [=](Session& session) -> std::int32_t {
            if (data == nullptr && length != 0) {
                return -1;
            }
            const bool ok = write_memory(session, addr, {static_cast<const std::uint8_t*>(data), length});
            return ok ? static_cast<std::int32_t>(std::min(length, 0x7FFFFFFFU)) : -1;
        });
}

int32_t JLINKARM_CALL JLINKARM_WriteU32(uint32_t addr, uint32_t value)
{
    return simulate<std::int32_t>(
        "JLINKARM_WriteU32", -1, [=] { return fmt::format("0x{:X}, 0x{:X}", addr, value); },
        [=](Session& session) {
            return write_memory(session, addr, {reinterpret_cast<const std::uint8_t*>(&value), sizeof value}) ? 0 : -1;
        });
}

uint32_t JLINKARM_CALL JLINKARM_ReadReg(uint32_t index)
{
    return simulate(
               "JLINKARM_ReadReg", Word{}, [=] { return fmt::format("{}", index); },
               [=](Session& session) { return Word{read_cpu_register(session, index)}; })
        .value;
}

uint8_t JLINKARM_CALL JLINKARM_WriteReg(uint32_t index, uint32_t value)
{
    return simulate<std::uint8_t>(
        "JLINKARM_WriteReg", failed_byte, [=] { return fmt::format("{}, 0x{:X}", index, value); },
        [=](Session& session) { return write_cpu_register(session, index, value) ? std::uint8_t{0} : failed_byte; });
}

int32_t JLINKARM_CALL JLINKARM_SetResetType(int32_t type)
{
    return simulate<std::int32_t>(
        "JLINKARM_SetResetType", -1, [=] { return fmt::format("{}", type); },
        [=](Session& session) {
            session.settings().reset_type = type;
            return 0;
        });
}

int32_t JLINKARM_CALL JLINKARM_Reset(void)
{
    return simulate<std::int32_t>("JLINKARM_Reset", -1, no_arguments,
                                  [](Session& session) { return reset(session) ? 0 : -1; });
}

void JLINKARM_CALL JLINKARM_ClrRESET(void)
{
    simulate("JLINKARM_ClrRESET", Nothing{}, no_arguments, [](Session& session) {
        drive_reset_line(session, true);
        return Nothing{};
    });
}

void JLINKARM_CALL JLINKARM_SetRESET(void)
{
    simulate("JLINKARM_SetRESET", Nothing{}, no_arguments, [](Session& session) {
        drive_reset_line(session, false);
        return Nothing{};
    });
}

int32_t JLINKARM_CALL JLINKARM_CORESIGHT_ReadAPDPReg(uint8_t index, uint8_t access_port, uint32_t* value)
{
    return simulate<std::int32_t>(
        "JLINKARM_CORESIGHT_ReadAPDPReg", -1, [=] { return fmt::format("{}, {}", index, access_port); },
        [=](Session& session) {
            std::uint32_t read = 0;
            if (value == nullptr || !read_debug_register(session, index, access_port != 0, read)) {
                return -1;
            }
            *value = read;
            return 0;
        });
}

int32_t JLINKARM_CALL JLINKARM_CORESIGHT_WriteAPDPReg(uint8_t index, uint8_t access_port, uint32_t value)
{
    return simulate<std::int32_t>(
        "JLINKARM_CORESIGHT_WriteAPDPReg", -1, [=] { return fmt::format("{}, {}, 0x{:X}", index, access_port, value); },
        [=](Session& session) { return write_debug_register(session, index, access_port != 0, value) ? 0 : -1; });
}

int32_t JLINKARM_CALL JLINKARM_CORESIGHT_Configure(const char* text)
{
    return simulate<std::int32_t>(
        "JLINKARM_CORESIGHT_Configure", -1, [=] { return fmt::format("\"{}\"", text == nullptr ? "" : text); },
        [](Session& session) { return configure_coresight(session) ? 0 : -1; });
}
