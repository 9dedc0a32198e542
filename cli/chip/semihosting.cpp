#include "cli/chip/semihosting.h"

#include "base/little_endian.h"
#include "cli/chip/cpu_registers.h"

#include <array>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr std::uint32_t sys_exit = 0x18;          // R1 is the reason
constexpr std::uint32_t sys_exit_extended = 0x20; // R1 points at the reason and the exit code
constexpr std::uint32_t application_exit = 0x20026;

std::optional<std::uint32_t> try_read_word(std::uint32_t address)
{
    std::array<std::uint8_t, 4> bytes{};
    return TESSIT_read(address, bytes.data(), bytes.size()) == RESULT_OK ? std::optional{little_endian::load_u32(bytes)}
                                                                         : std::nullopt;
}

SemihostingExit exit_for(std::uint32_t reason, std::uint32_t code)
{
    if (reason != application_exit) {
        return {reason, std::nullopt};
    }
    return {reason, static_cast<std::int32_t>(code)};
}

} // namespace

std::optional<std::uint32_t> semihosting_call(const Target& target)
{
    constexpr std::array<std::uint8_t, 2> call{0xAB, 0xBE};
    std::array<std::uint8_t, 2> instruction{};
    const std::uint32_t pc = read_register(target, R15);
    if (TESSIT_read(pc, instruction.data(), instruction.size()) != RESULT_OK || instruction != call) {
        return std::nullopt;
    }
    return read_register(target, R0);
}

std::optional<SemihostingExit> semihosting_exit(const Target& target)
{
    const std::optional<std::uint32_t> call = semihosting_call(target);
    if (call == sys_exit) {
        return exit_for(read_register(target, R1), 0);
    }
    if (call != sys_exit_extended) {
        return std::nullopt;
    }
    const std::uint32_t block = read_register(target, R1);
    const std::optional<std::uint32_t> reason = try_read_word(block);
    const std::optional<std::uint32_t> code = try_read_word(block + 4);
    return reason && code ? std::optional{exit_for(*reason, *code)} : std::nullopt;
}

std::string describe(const SemihostingExit& exit)
{
    return exit.code ? fmt::format("ended with exit code {}", *exit.code)
                     : fmt::format("ended itself for the reason {:#x}, which is no regular end", exit.reason);
}

} // namespace tessit::cli
