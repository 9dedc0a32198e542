#include "cli/loader/cpu_loan.h"

#include "cli/chip/cpu_registers.h"
#include "cli/session/memory_map.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

// The processor's own registers, from its architecture.
constexpr std::uint32_t vector_table_offset = 0xE000ED08; // VTOR
constexpr std::uint32_t register_selector = 0xE000EDF4;   // DCRSR
constexpr std::uint32_t register_data = 0xE000EDF8;       // DCRDR
constexpr std::uint32_t exception_monitor = 0xE000EDFC;   // DEMCR
constexpr std::uint32_t catch_core_reset = 1U << 0;

// CONTROL, FAULTMASK, BASEPRI and PRIMASK, a byte each, which no other access reaches.
constexpr std::uint32_t special_registers = 20;
constexpr std::uint32_t selector_writes = 1U << 16;
constexpr std::uint32_t interrupts_masked = 1U << 0;

constexpr std::uint32_t thumb_state = 1U << 24;
constexpr std::uint32_t link_after_reset = 0xFFFFFFFF;

// What the borrower changes, which is on the main stack. The program counter last, as a debugger does.
constexpr std::array kept{MSP, R0, R1, R2, R3, R4, R5, R6, R7, R8, R9, R10, R11, R12, R14, XPSR, R15};

void write_word(const Target& target, std::uint32_t address, std::uint32_t value)
{
    target.session().check(TESSIT_write_u32(address, value, static_cast<std::uint8_t>(WritePath::bus)),
                           fmt::format("write the CPU's register at {:#010x}", address));
}

} // namespace

CpuLoan::CpuLoan(const Target& target, const Range& ram) : target_{target}, ram_{ram}
{
    target.halt();
    for (const cpu_register_t name : kept) {
        registers_.push_back({name, read_register(target, name)});
    }
    special_ = read_special();
    vector_table_ = target.read_word(vector_table_offset);
    monitor_ = target.read_word(exception_monitor);
    ram_bytes_ = target.read(ram);
}

std::uint32_t CpuLoan::read_special() const
{
    write_word(target_, register_selector, special_registers);
    return target_.read_word(register_data);
}

void CpuLoan::write_special(std::uint32_t value) const
{
    write_word(target_, register_data, value);
    write_word(target_, register_selector, special_registers | selector_writes);
}

void CpuLoan::take_over(std::uint32_t vector_table) const
{
    write_special(interrupts_masked);
    write_register(target_, XPSR, thumb_state); // no IT block goes on
    write_word(target_, vector_table_offset, vector_table);
    write_word(target_, exception_monitor, monitor_ | catch_core_reset);
}

// Nothing here is cut short by Ctrl-C.
void CpuLoan::give_back() const
{
    target_.session().check(TESSIT_write(ram_.first, ram_bytes_.data(), static_cast<std::uint32_t>(ram_bytes_.size()),
                                         static_cast<std::uint8_t>(WritePath::bus)),
                            "put back what the flash loader's RAM held");
    write_word(target_, exception_monitor, monitor_);
    write_word(target_, vector_table_offset, vector_table_);
    write_special(special_);
    for (const Register& each : registers_) {
        write_register(target_, each.name, each.value);
    }
}

void CpuLoan::give_back_at_reset_handler() const
{
    write_word(target_, exception_monitor, monitor_);
    write_word(target_, vector_table_offset, memory_map::flash_start);
    write_special(0);
    write_register(target_, XPSR, thumb_state);
    write_register(target_, MSP, target_.read_word(memory_map::flash_start) & ~3U);
    write_register(target_, R14, link_after_reset);
    write_register(target_, R15, target_.read_word(memory_map::flash_start + 4) & ~1U);
}

} // namespace tessit::cli
