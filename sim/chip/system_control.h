#pragma once

#include "sim/cpu/exceptions.h"
#include "sim/cpu/fault_status.h"
#include "sim/cpu/stacked_frame.h"
#include "sim/device/register_block.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace jlinksim {

/// Bits of HFSR and DFSR.
namespace hard_fault_bit {
inline constexpr std::uint32_t vector_table = 1U << 1;
inline constexpr std::uint32_t forced = 1U << 30;
inline constexpr std::uint32_t debug_event = 1U << 31;
} // namespace hard_fault_bit

namespace debug_event {
inline constexpr std::uint32_t request = 1U << 0;
inline constexpr std::uint32_t breakpoint = 1U << 1;
inline constexpr std::uint32_t watchpoint = 1U << 2;
inline constexpr std::uint32_t vector_catch = 1U << 3;
} // namespace debug_event

/// The system control block: how the CPU takes exceptions, what it tells of faults, and its floating point unit.
class SystemControl final : public RegisterBlock<SystemControl>
{
public:
    static constexpr std::uint32_t window_begin = 0xD00;
    static constexpr std::uint32_t window_bytes = 0x8C;
    static constexpr std::uint32_t float_begin = 0xF34;
    static constexpr std::uint32_t float_bytes = 0x14;
    static const std::span<const Register<SystemControl>> table;

    struct Connections
    {
        std::function<void()> request_reset;
        std::function<void()> clear_active; ///< AIRCR's VECTCLRACTIVE
    };

    SystemControl(Exceptions& exceptions, std::span<std::uint32_t> words, Records& records, Connections connections);

    std::uint32_t vector_table() const;
    FrameLayout frame_layout() const;
    bool sleeps_on_exit() const;
    bool pending_is_event() const; ///< SEVONPEND
    bool may_return_to_thread_from_nested() const;

    bool is_floating_point_on(bool privileged) const;
    bool traps_division_by_zero() const;
    bool traps_unaligned() const;
    bool saves_singles_lazily() const;
    /// Where the floating point registers of an interrupted program have yet to be saved.
    std::optional<std::uint32_t> unsaved_singles() const;
    void set_unsaved_singles(std::uint32_t address);
    void singles_are_saved();

    void note_fault(FaultStatus status);
    void note_hard_fault(std::uint32_t bits);
    void note_debug_event(std::uint32_t bits);
    std::uint32_t faults() const; ///< CFSR

private:
    friend struct SystemControlTable;

    std::uint32_t read_interrupt_control(unsigned index);
    void write_interrupt_control(std::uint32_t value, unsigned index);
    std::uint32_t read_reset_control(unsigned index);
    void write_reset_control(std::uint32_t value, unsigned index);
    std::uint32_t read_priorities(unsigned index);
    void write_priorities(std::uint32_t value, unsigned index);
    std::uint32_t read_handlers(unsigned index);
    void write_handlers(std::uint32_t value, unsigned index);

    Exceptions& exceptions_;
    Connections connections_;
};

} // namespace jlinksim
