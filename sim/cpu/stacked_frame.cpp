#include "sim/cpu/stacked_frame.h"

#include <array>

namespace jlinksim {
namespace {

namespace reg = cpu_register;

/// A frame's words from its lowest address on; XPSR follows.
constexpr std::array<unsigned, 7> stacked_registers{0, 1, 2, 3, 12, reg::lr, reg::pc};
constexpr std::uint32_t status_offset = 4 * stacked_registers.size();
constexpr unsigned stacked_singles = 16;

constexpr std::uint32_t basic_bytes = 0x20;
constexpr std::uint32_t extended_bytes = 0x68;   ///< with S0 to S15, FPSCR and a word that holds nothing
constexpr std::uint32_t was_realigned = 1U << 9; ///< in a stacked XPSR

constexpr std::uint32_t frame_bytes(bool is_extended)
{
    return is_extended ? extended_bytes : basic_bytes;
}

} // namespace

ExceptionReturn ExceptionReturn::to_now(const Cpu& cpu)
{
    const std::uint32_t control = cpu.read_register(reg::control);
    const bool is_thread = (cpu.read_register(reg::xpsr) & reg::xpsr_exception) == 0;
    std::uint32_t value = 0xFFFFFFF1;
    if (is_thread) {
        value |= (control & reg::control_process_stack) != 0 ? 0xCU : 0x8U;
    }
    if ((control & reg::control_floating_point) != 0) {
        value &= ~0x10U;
    }
    return ExceptionReturn{value};
}

std::uint32_t StackedFrame::stack_pointer(ExceptionReturn how) const
{
    return cpu_.read_register(how.is_to_process_stack() ? reg::psp : reg::msp);
}

std::optional<std::uint32_t> StackedFrame::push(FrameLayout layout)
{
    const bool is_extended = ExceptionReturn::to_now(cpu_).is_extended();
    const std::uint32_t top = cpu_.read_register(reg::sp);
    const bool realigns = (layout.aligned || is_extended) && top % 8 != 0;
    const std::uint32_t frame = (top - frame_bytes(is_extended)) & (realigns ? ~4U : ~0U);
    const std::uint32_t status = cpu_.read_register(reg::xpsr) & ~was_realigned;

    cpu_.write_register(reg::sp, frame);
    bool is_written = write(frame + status_offset, status | (realigns ? was_realigned : 0U));
    for (unsigned i = 0; is_written && i < stacked_registers.size(); ++i) {
        is_written = write(frame + 4 * i, cpu_.read_register(stacked_registers[i]));
    }
    if (is_written && is_extended && layout.saves_singles) {
        is_written = save_singles(frame + singles_offset);
    }
    return is_written ? std::optional{frame} : std::nullopt;
}

bool StackedFrame::save_singles(std::uint32_t address)
{
    bool is_written = write(address + 4 * stacked_singles, cpu_.read_register(reg::fpscr));
    for (unsigned i = 0; is_written && i < stacked_singles; ++i) {
        is_written = write(address + 4 * i, cpu_.read_register(reg::first_single + i));
    }
    return is_written;
}

bool StackedFrame::load_singles(std::uint32_t address)
{
    std::array<std::uint32_t, stacked_singles + 1> words{};
    for (unsigned i = 0; i < words.size(); ++i) {
        if (!bus_.cpu_read(address + 4 * i, 4, words[i])) {
            return false;
        }
    }
    for (unsigned i = 0; i < stacked_singles; ++i) {
        cpu_.write_register(reg::first_single + i, words[i]);
    }
    cpu_.write_register(reg::fpscr, words[stacked_singles]);
    return true;
}

std::optional<std::uint32_t> StackedFrame::stacked_status(ExceptionReturn how)
{
    std::uint32_t status = 0;
    return bus_.cpu_read(stack_pointer(how) + status_offset, 4, status) ? std::optional{status} : std::nullopt;
}

bool StackedFrame::pop(ExceptionReturn how, FrameLayout layout)
{
    const std::uint32_t frame = stack_pointer(how);
    const std::optional<std::uint32_t> status = stacked_status(how);
    std::array<std::uint32_t, stacked_registers.size()> words{};
    for (unsigned i = 0; i < words.size(); ++i) {
        if (!status || !bus_.cpu_read(frame + 4 * i, 4, words[i])) {
            return false;
        }
    }
    if (how.is_extended() && layout.saves_singles && !load_singles(frame + singles_offset)) {
        return false;
    }
    const bool was_aligned = (layout.aligned || how.is_extended()) && (*status & was_realigned) != 0;
    const std::uint32_t top = (frame + frame_bytes(how.is_extended())) | (was_aligned ? 4U : 0U);
    const std::uint32_t control = cpu_.read_register(reg::control) & reg::control_unprivileged;

    cpu_.write_register(how.is_to_process_stack() ? reg::psp : reg::msp, top);
    cpu_.write_register(reg::control, control | (how.is_to_process_stack() ? reg::control_process_stack : 0U) |
                                          (how.is_extended() ? reg::control_floating_point : 0U));
    cpu_.write_register(reg::xpsr, *status & reg::xpsr_writable);
    for (unsigned i = 0; i < words.size(); ++i) {
        cpu_.write_register(stacked_registers[i], words[i]);
    }
    return true;
}

} // namespace jlinksim
