#include "cli/chip/cpu_state.h"

#include "cli/chip/cpu_registers.h"
#include "cli/chip/fault_view.h"
#include "cli/chip/semihosting.h"
#include "cli/session/memory_map.h"

#include <array>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr std::uint32_t debug_control = 0xE000EDF0; // DHCSR

// Registers of the memory access port.
constexpr std::uint8_t memory_port = 0;
constexpr std::uint8_t port_control = 0x00; // CSW
constexpr std::uint8_t port_address = 0x04; // TAR
constexpr std::uint8_t port_data = 0x0C;    // DRW

constexpr std::uint32_t lock_up_address = 0xFFFFFFFE; // where a blank reset vector leads, too

constexpr std::chrono::milliseconds start_time{10};

// A word of memory, past the J-Link library's connection to the chip, which would halt the CPU.
std::optional<std::uint32_t> peek_word(std::uint32_t address)
{
    constexpr std::uint32_t size_and_increment = 0x37;
    constexpr std::uint32_t one_word = 2;
    std::uint32_t control = 0;
    std::uint32_t word = 0;
    const bool is_read = TESSIT_read_access_port_register(memory_port, port_control, &control) == RESULT_OK &&
                         TESSIT_write_access_port_register(memory_port, port_control,
                                                           (control & ~size_and_increment) | one_word) == RESULT_OK &&
                         TESSIT_write_access_port_register(memory_port, port_address, address) == RESULT_OK &&
                         TESSIT_read_access_port_register(memory_port, port_data, &word) == RESULT_OK;
    return is_read ? std::optional{word} : std::nullopt;
}

CpuState decode_state(std::uint32_t status)
{
    constexpr std::uint32_t is_halted = 1U << 17;
    constexpr std::uint32_t is_sleeping = 1U << 18;
    constexpr std::uint32_t is_locked_up = 1U << 19;
    if ((status & is_locked_up) != 0) {
        return CpuState::locked_up;
    }
    if ((status & is_halted) != 0) {
        return CpuState::halted;
    }
    return (status & is_sleeping) != 0 ? CpuState::sleeping : CpuState::running;
}

bool is_breakpoint(std::uint32_t pc)
{
    constexpr std::uint8_t breakpoint_code = 0xBE; // upper half of the instruction
    std::array<std::uint8_t, 2> instruction{};
    return TESSIT_read(pc, instruction.data(), 2) == RESULT_OK && instruction[1] == breakpoint_code;
}

// Outside of the handlers of faults. Fault bits stay until the firmware clears them: at a breakpoint they are of
// earlier.
std::string describe_cause(const Target& target, const FaultStatus& status, std::uint32_t pc)
{
    if (const auto call = semihosting_call(target)) {
        return fmt::format("it waits for the semihosting call {:#04x} (BKPT 0xAB), which is not served", *call);
    }
    if (status.has_met_breakpoint() && is_breakpoint(pc)) {
        return "it is at a breakpoint instruction (BKPT)";
    }
    const std::string faults = describe_faults(status);
    return faults.empty() ? describe_debug_event(status) : faults;
}

std::string describe_reason(const Target& target, std::uint32_t pc, bool is_empty)
{
    if (is_empty) {
        return ": the flash holds no firmware at address 0";
    }
    const FaultStatus status = read_fault_status(target);
    if (status.is_handling()) {
        return " " + describe_handling(target, status);
    }
    const std::string cause = describe_cause(target, status, pc);
    return cause.empty() ? "" : ": " + cause;
}

} // namespace

const char* cpu_state_name(CpuState state)
{
    constexpr std::array names{"running", "sleeping", "halted", "locked up"};
    return names.at(static_cast<std::size_t>(state));
}

std::optional<CpuState> look_at_cpu(const Session& session)
{
    if (session.is_chip_protected()) {
        return {};
    }
    const std::optional<std::uint32_t> status = peek_word(debug_control);
    return status ? std::optional{decode_state(*status)} : std::nullopt;
}

std::optional<CpuState> state_after_start(const Target& target)
{
    const Session& session = target.session();
    session.clock().wait(start_time);
    bool connected = false;
    session.check(TESSIT_is_connected_to_device(&connected), "ask whether the chip is connected");
    if (connected && target.is_halted()) { // first, since the end of the connection may let it run
        return CpuState::halted;
    }
    session.check(TESSIT_disconnect_from_device(), "end the connection to the chip");
    return look_at_cpu(session);
}

bool has_no_firmware(const Target& target)
{
    constexpr std::uint32_t reset_vector = memory_map::flash_start + 4;
    constexpr std::uint32_t blank = 0xFFFFFFFF;
    return target.read_word(reset_vector) == blank;
}

bool is_at_lock_up(const Target& target)
{
    return read_register(target, R15) == lock_up_address;
}

std::string describe_trouble(const Target& target)
{
    const std::uint32_t pc = read_register(target, R15);
    if (pc == lock_up_address) {
        return "locked up" + describe_reason(target, pc, has_no_firmware(target));
    }
    const FaultStatus status = read_fault_status(target);
    return status.is_handling() ? describe_handling(target, status) : "";
}

CpuStop describe_stop(const Target& target, CpuState state)
{
    const std::uint32_t pc = read_register(target, R15);
    const bool is_empty = pc == lock_up_address && has_no_firmware(target);
    std::string text =
        fmt::format("{} at {:#010x}{}", cpu_state_name(state), pc, describe_reason(target, pc, is_empty));
    if (state == CpuState::locked_up) {
        target.go();
    }
    return {std::move(text), is_empty};
}

Failure stopped_cpu(const Target& target, CpuState state, std::string_view what, std::string_view restart,
                    ExitCode code)
{
    const Session& session = target.session();
    const CpuStop stop = describe_stop(target, state);
    const std::string text = fmt::format("{}: the CPU is {}", what, stop.text);
    if (stop.is_without_firmware) {
        return {ExitCode::failure, text,
                fmt::format("`{}` puts firmware there.", session.command_line("program FILE"))};
    }
    if (!restart.empty()) {
        return {code, text, fmt::format("`{}` starts the firmware from its beginning.", session.command_line(restart))};
    }
    return {code, text,
            fmt::format("`{}` shows the CPU's registers; `{}` starts the firmware again.", session.command_line("reg"),
                        session.command_line("reset"))};
}

void require_running(const Target& target)
{
    const std::optional<CpuState> state = state_after_start(target);
    if (state == CpuState::halted || state == CpuState::locked_up) {
        throw stopped_cpu(target, *state, does_not_run);
    }
}

} // namespace tessit::cli
