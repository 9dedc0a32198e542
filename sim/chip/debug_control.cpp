#include "sim/chip/debug_control.h"

#include "sim/chip/register_selector.h"

#include <array>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t debug_control = 0xDF0;     // DHCSR
constexpr std::uint32_t register_data = 0xDF8;     // DCRDR
constexpr std::uint32_t exception_monitor = 0xDFC; // DEMCR
constexpr std::uint32_t run_state_flag = 0x10000;  // beyond every address: the hardware's own
constexpr std::uint32_t stuck_flag = 0x10004;
constexpr std::uint32_t reset_flag = 0x10008; // it was reset since somebody looked

constexpr std::uint32_t debug_key = 0xA05F;
constexpr std::uint32_t debug_enable = 1U << 0;
constexpr std::uint32_t debug_halt = 1U << 1;
constexpr std::uint32_t debug_step = 1U << 2;
constexpr std::uint32_t debug_mask_interrupts = 1U << 3;
constexpr std::uint32_t status_register_ready = 1U << 16;
constexpr std::uint32_t status_halted = 1U << 17;
constexpr std::uint32_t status_sleeping = 1U << 18;
constexpr std::uint32_t status_locked_up = 1U << 19;
constexpr std::uint32_t status_was_reset = 1U << 25;

constexpr std::uint32_t catch_core_reset = 1U << 0;
constexpr std::uint32_t trace_enable = 1U << 24;
constexpr std::uint32_t register_transfer_write = 1U << 16;

} // namespace

struct DebugControlTable
{
    static constexpr std::array rows{
        // clang-format off
        Register<DebugControl>{.name = "DHCSR", .offset = debug_control, .on_write = &DebugControl::write_control,
                               .on_read = &DebugControl::read_control, .retained = true},
        Register<DebugControl>{.name = "DCRSR", .offset = 0xDF4, .on_write = &DebugControl::transfer_register},
        Register<DebugControl>{.name = "DCRDR", .offset = register_data, .writable = ~0U, .retained = true},
        Register<DebugControl>{.name = "DEMCR", .offset = exception_monitor, .writable = 0x010F07F1, .retained = true},
        Register<DebugControl>{.name = "(run state)", .offset = run_state_flag, .retained = true},
        Register<DebugControl>{.name = "(lock-up)", .offset = stuck_flag},
        Register<DebugControl>{.name = "(reset)", .offset = reset_flag, .reset = status_was_reset},
        // clang-format on
    };
};

const std::span<const Register<DebugControl>> DebugControl::table{DebugControlTable::rows};

DebugControl::DebugControl(std::span<std::uint32_t> words, Records& records, Connections connections)
    : RegisterBlock("SCS", table, words, records), connections_(std::move(connections))
{
}

RunState DebugControl::state() const
{
    return static_cast<RunState>(word(run_state_flag));
}

void DebugControl::set_state(RunState state)
{
    word(run_state_flag) = static_cast<std::uint32_t>(state);
}

bool DebugControl::is_stuck() const
{
    return word(stuck_flag) != 0;
}

void DebugControl::set_stuck(bool stuck)
{
    word(stuck_flag) = stuck ? 1 : 0;
}

bool DebugControl::is_enabled() const
{
    return (word(debug_control) & debug_enable) != 0;
}

void DebugControl::enable()
{
    word(debug_control) |= debug_enable;
}

bool DebugControl::is_trace_enabled() const
{
    return (word(exception_monitor) & trace_enable) != 0;
}

bool DebugControl::catches_reset() const
{
    return is_enabled() && (word(exception_monitor) & catch_core_reset) != 0;
}

Processor::DebugRequests DebugControl::requests() const
{
    return {.attached = is_enabled(),
            .masks_interrupts = (word(debug_control) & debug_mask_interrupts) != 0,
            .catches = word(exception_monitor)};
}

std::uint32_t DebugControl::read_control(unsigned /*index*/)
{
    constexpr std::array status{0U, status_halted | debug_halt, status_sleeping, status_locked_up};
    return word(debug_control) | status_register_ready | std::exchange(word(reset_flag), 0) |
           status.at(static_cast<std::size_t>(connections_.state()));
}

void DebugControl::write_control(std::uint32_t value, unsigned /*index*/)
{
    if (value >> 16 != debug_key) {
        records().add("register-key", fmt::format("DHCSR = 0x{:08X} without its key", value));
        return;
    }
    word(debug_control) = value & (debug_enable | debug_mask_interrupts);
    if ((value & debug_enable) == 0 || (value & (debug_halt | debug_step)) == 0) {
        connections_.go();
    } else if ((value & debug_halt) != 0) {
        connections_.halt();
    } else if (state() == RunState::halted) {
        connections_.step((value & debug_mask_interrupts) != 0);
    }
}

void DebugControl::transfer_register(std::uint32_t value, unsigned /*index*/)
{
    const unsigned selector = value & 0x7F;
    const bool is_halted = state() == RunState::halted;
    if (!is_halted || !is_selector(selector)) {
        records().add("cpu-register", fmt::format("DCRSR = 0x{:08X} {}", value, is_halted ? "" : "while running"));
        return;
    }
    if ((value & register_transfer_write) != 0) {
        connections_.write_cpu_register(selector, word(register_data));
    } else {
        word(register_data) = connections_.read_cpu_register(selector);
    }
}

} // namespace jlinksim
