#include "sim/chip/system_control.h"

namespace jlinksim {
namespace {

constexpr std::uint32_t vector_table_offset = 0xD08;
constexpr std::uint32_t sleep_control = 0xD10;      // SCR
constexpr std::uint32_t configuration = 0xD14;      // CCR
constexpr std::uint32_t fault_status = 0xD28;       // CFSR
constexpr std::uint32_t hard_fault_status = 0xD2C;  // HFSR
constexpr std::uint32_t debug_fault_status = 0xD30; // DFSR
constexpr std::uint32_t memory_fault_address = 0xD34;
constexpr std::uint32_t bus_fault_address = 0xD38;
constexpr std::uint32_t coprocessors = 0xD88;  // CPACR
constexpr std::uint32_t float_context = 0xF34; // FPCCR
constexpr std::uint32_t float_address = 0xF38; // FPCAR

constexpr std::uint32_t reset_key = 0x05FA;
constexpr std::uint32_t read_key = 0xFA050000;
constexpr std::uint32_t clear_active = 1U << 1;
constexpr std::uint32_t reset_request = 1U << 2;
constexpr unsigned grouping_shift = 8;

constexpr std::uint32_t sleep_on_exit = 1U << 1;
constexpr std::uint32_t event_on_pending = 1U << 4;
constexpr std::uint32_t thread_from_nested = 1U << 0; // NONBASETHRDENA
constexpr std::uint32_t trap_unaligned = 1U << 3;
constexpr std::uint32_t trap_division = 1U << 4;
constexpr std::uint32_t align_stack = 1U << 9;

constexpr std::uint32_t lazy_saving_active = 1U << 0; // LSPACT
constexpr std::uint32_t lazy_saving = 1U << 30;       // LSPEN
constexpr std::uint32_t automatic_saving = 1U << 31;  // ASPEN

/// Bits of ICSR that pend an exception or take it back.
struct PendingBits
{
    unsigned exception;
    std::uint32_t set;
    std::uint32_t clear;
};
constexpr std::array pending_bits{
    PendingBits{exception::nmi, 1U << 31, 0},
    PendingBits{exception::pend_sv, 1U << 28, 1U << 27},
    PendingBits{exception::sys_tick, 1U << 26, 1U << 25},
};

/// The system's exceptions whose priority is a register, and their bits in SHCSR; 0 where there is none.
struct SystemHandler
{
    unsigned exception;
    std::uint32_t active;
    std::uint32_t pending;
    std::uint32_t enabled;
};
constexpr std::array handlers{
    SystemHandler{exception::memory_management, 1U << 0, 1U << 13, 1U << 16},
    SystemHandler{exception::bus_fault, 1U << 1, 1U << 14, 1U << 17},
    SystemHandler{exception::usage_fault, 1U << 3, 1U << 12, 1U << 18},
    SystemHandler{exception::supervisor_call, 1U << 7, 1U << 15, 0},
    SystemHandler{exception::debug_monitor, 1U << 8, 0, 0},
    SystemHandler{exception::pend_sv, 1U << 10, 0, 0},
    SystemHandler{exception::sys_tick, 1U << 11, 0, 0},
};

constexpr unsigned first_with_priority = 4;
constexpr unsigned priority_words = 3;

} // namespace

struct SystemControlTable
{
    using Block = SystemControl;
    static constexpr std::array rows{
        // clang-format off
        //              name     offset               reset       writable    on write                         on read
        Register<Block>{"CPUID", 0xD00,               0x410FC241, 0},
        Register<Block>{"ICSR",  0xD04,               0,          0,          &Block::write_interrupt_control, &Block::read_interrupt_control},
        Register<Block>{"VTOR",  vector_table_offset, 0,          0xFFFFFF80},
        Register<Block>{"AIRCR", 0xD0C,               0,          0,          &Block::write_reset_control,     &Block::read_reset_control},
        Register<Block>{"SCR",   sleep_control,       0,          0x16},
        Register<Block>{"CCR",   configuration,       0x200,      0x31B},
        Register<Block>{.name = "SHPR", .offset = 0xD18, .on_write = &Block::write_priorities, .on_read = &Block::read_priorities,
                        .count = priority_words, .bytes = true},
        Register<Block>{"SHCSR", 0xD24,               0,          0,          &Block::write_handlers,          &Block::read_handlers},
        Register<Block>{.name = "CFSR", .offset = fault_status, .writable = 0x030FBFBB, .effect = WriteEffect::clear_ones, .bytes = true},
        Register<Block>{.name = "HFSR", .offset = hard_fault_status, .writable = 0xC0000002, .effect = WriteEffect::clear_ones},
        Register<Block>{.name = "DFSR", .offset = debug_fault_status, .writable = 0x1F, .effect = WriteEffect::clear_ones, .retained = true},
        Register<Block>{"MMFAR", memory_fault_address, 0,         ~0U},
        Register<Block>{"BFAR",  bus_fault_address,   0,          ~0U},
        Register<Block>{"CPACR", coprocessors,        0,          0x00F00000},
        Register<Block>{"FPCCR", float_context,       automatic_saving | lazy_saving, automatic_saving | lazy_saving | lazy_saving_active},
        Register<Block>{"FPCAR", float_address,       0,          ~7U},
        Register<Block>{"FPDSCR", 0xF3C,              0,          0x07C00000},
        Register<Block>{"MVFR0", 0xF40,               0x10110021, 0},
        Register<Block>{"MVFR1", 0xF44,               0x11000011, 0},
        // clang-format on
    };
};

const std::span<const Register<SystemControl>> SystemControl::table{SystemControlTable::rows};

SystemControl::SystemControl(Exceptions& exceptions, std::span<std::uint32_t> words, Records& records,
                             Connections connections)
    : RegisterBlock("SCB", table, words, records), exceptions_(exceptions), connections_(std::move(connections))
{
}

std::uint32_t SystemControl::vector_table() const
{
    return word(vector_table_offset);
}

FrameLayout SystemControl::frame_layout() const
{
    return {.aligned = (word(configuration) & align_stack) != 0, .saves_singles = !saves_singles_lazily()};
}

bool SystemControl::sleeps_on_exit() const
{
    return (word(sleep_control) & sleep_on_exit) != 0;
}

bool SystemControl::pending_is_event() const
{
    return (word(sleep_control) & event_on_pending) != 0;
}

bool SystemControl::may_return_to_thread_from_nested() const
{
    return (word(configuration) & thread_from_nested) != 0;
}

/// Both coprocessors have to be given the same rights; those of the first count.
bool SystemControl::is_floating_point_on(bool privileged) const
{
    constexpr std::uint32_t full = 3;
    constexpr std::uint32_t privileged_only = 1;
    const std::uint32_t rights = word(coprocessors) >> 20 & 3U;
    return rights == full || (privileged && rights == privileged_only);
}

bool SystemControl::traps_division_by_zero() const
{
    return (word(configuration) & trap_division) != 0;
}

bool SystemControl::traps_unaligned() const
{
    return (word(configuration) & trap_unaligned) != 0;
}

bool SystemControl::saves_singles_lazily() const
{
    return (word(float_context) & lazy_saving) != 0;
}

std::optional<std::uint32_t> SystemControl::unsaved_singles() const
{
    const bool is_active = (word(float_context) & lazy_saving_active) != 0;
    return is_active ? std::optional{word(float_address)} : std::nullopt;
}

void SystemControl::set_unsaved_singles(std::uint32_t address)
{
    word(float_context) |= lazy_saving_active;
    word(float_address) = address;
}

void SystemControl::singles_are_saved()
{
    word(float_context) &= ~lazy_saving_active;
}

void SystemControl::note_fault(FaultStatus status)
{
    word(fault_status) |= status.bits;
    if ((status.bits & fault_bit::address_valid) != 0) {
        word(bus_fault_address) = status.address;
    }
}

std::uint32_t SystemControl::faults() const
{
    return word(fault_status);
}

void SystemControl::note_hard_fault(std::uint32_t bits)
{
    word(hard_fault_status) |= bits;
}

void SystemControl::note_debug_event(std::uint32_t bits)
{
    word(debug_fault_status) |= bits;
}

std::uint32_t SystemControl::read_interrupt_control(unsigned /*index*/)
{
    constexpr unsigned pending_shift = 12;
    constexpr std::uint32_t interrupt_pending = 1U << 22;
    constexpr std::uint32_t returns_to_base = 1U << 11;
    std::uint32_t value = exceptions_.current();
    value |= exceptions_.first_pending().value_or(0) << pending_shift;
    value |= exceptions_.active_count() <= 1 ? returns_to_base : 0U;
    value |= exceptions_.has_pending_interrupt() ? interrupt_pending : 0U;
    for (const PendingBits& row : pending_bits) {
        value |= exceptions_.is_pending(row.exception) ? row.set : 0U;
    }
    return value;
}

void SystemControl::write_interrupt_control(std::uint32_t value, unsigned /*index*/)
{
    for (const PendingBits& row : pending_bits) {
        if ((value & row.set) != 0) {
            exceptions_.pend(row.exception);
        } else if ((value & row.clear) != 0) {
            exceptions_.clear_pending(row.exception);
        }
    }
}

std::uint32_t SystemControl::read_reset_control(unsigned /*index*/)
{
    return read_key | exceptions_.grouping() << grouping_shift;
}

void SystemControl::write_reset_control(std::uint32_t value, unsigned /*index*/)
{
    if (value >> 16 != reset_key) {
        records().add("register-key", fmt::format("AIRCR = 0x{:08X} without its key", value));
        return;
    }
    exceptions_.set_grouping(value >> grouping_shift);
    if ((value & clear_active) != 0) {
        connections_.clear_active();
    }
    if ((value & reset_request) != 0) {
        connections_.request_reset();
    }
}

std::uint32_t SystemControl::read_priorities(unsigned index)
{
    std::uint32_t value = 0;
    for (const SystemHandler& row : handlers) {
        const unsigned place = row.exception - first_with_priority;
        if (place / 4 == index) {
            value |= static_cast<std::uint32_t>(exceptions_.priority(row.exception)) << 8 * (place % 4);
        }
    }
    return value;
}

void SystemControl::write_priorities(std::uint32_t value, unsigned index)
{
    for (const SystemHandler& row : handlers) {
        const unsigned place = row.exception - first_with_priority;
        if (place / 4 == index) {
            exceptions_.set_priority(row.exception, static_cast<std::uint8_t>(value >> 8 * (place % 4)));
        }
    }
}

std::uint32_t SystemControl::read_handlers(unsigned /*index*/)
{
    std::uint32_t value = 0;
    for (const SystemHandler& row : handlers) {
        value |= exceptions_.is_active(row.exception) ? row.active : 0U;
        value |= exceptions_.is_pending(row.exception) ? row.pending : 0U;
        value |= exceptions_.is_enabled(row.exception) ? row.enabled : 0U;
    }
    return value;
}

void SystemControl::write_handlers(std::uint32_t value, unsigned /*index*/)
{
    for (const SystemHandler& row : handlers) {
        exceptions_.set_active(row.exception, (value & row.active) != 0);
        if (row.enabled != 0) {
            exceptions_.set_enabled(row.exception, (value & row.enabled) != 0);
        }
        if ((value & row.pending) != 0) {
            exceptions_.pend(row.exception);
        } else if (row.pending != 0) {
            exceptions_.clear_pending(row.exception);
        }
    }
}

} // namespace jlinksim
