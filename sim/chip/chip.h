#pragma once

#include "sim/chip/bit_band.h"
#include "sim/chip/block_protection.h"
#include "sim/chip/bus.h"
#include "sim/chip/chip_options.h"
#include "sim/chip/control_port.h"
#include "sim/chip/core.h"
#include "sim/chip/debug_port.h"
#include "sim/chip/flash_controller.h"
#include "sim/chip/gpio.h"
#include "sim/chip/interrupt_lines.h"
#include "sim/chip/memory_port.h"
#include "sim/chip/power.h"
#include "sim/chip/ram.h"
#include "sim/chip/rom_table.h"
#include "sim/device/services.h"
#include "sim/model/chip_model.h"
#include "sim/qspi/qspi.h"

#include <deque>
#include <optional>
#include <vector>

namespace jlinksim {

class ChipState;

/// A chip: its parts, and the wires between them. Parts know nothing of each other.
class Chip
{
public:
    /// Puts the chip together on its state, which holds whatever the last process left. Both outlive the chip.
    Chip(const ChipOptions& options, ChipState& state, Services services);
    Chip(const Chip&) = delete;
    Chip& operator=(const Chip&) = delete;

    /// The state of a powered chip is lost or was never there: start as supply comes on.
    void power_on() { reset(ResetKind::power_on); }
    /// Whether the state files hold a powered chip that this program understands.
    bool is_powered_up() const;
    void reset(ResetKind kind);
    /// The reset line: low holds the chip, high releases it, which is the reset.
    void drive_reset_line(bool low);
    bool is_reset_line_low() const;

    /// Whether the core can be debugged: not protected, not held in reset.
    bool is_debuggable() const { return !is_protected() && !is_held(); }
    bool is_protected() const { return options_.has_control_port && control_port_.is_protected(); }
    bool is_held() const { return is_reset_line_low() || control_port_.holds_reset(); }

    /// The chip's memory through its debug access. False: fault, or closed.
    bool debug_read(std::uint32_t address, std::span<std::uint8_t> data);
    bool debug_write(std::uint32_t address, std::span<const std::uint8_t> data);
    /// Whether all of a stretch is RAM that has its power, or this or flash.
    bool is_ram(std::uint32_t address, std::uint64_t length);
    bool is_memory(std::uint32_t address, std::uint64_t length);
    bool peek(std::uint32_t address, std::span<std::uint8_t> data) { return bus_.peek(address, data); }
    bool poke(std::uint32_t address, std::span<const std::uint8_t> data);

    /// This much time went by, from an instant of the clock on: the CPU executes, and what was asked for meanwhile
    /// happens.
    void elapse(std::uint64_t from, std::uint64_t nanoseconds);

    const ChipOptions& options() const { return options_; }
    const ChipModel& model() const { return *options_.model; }
    Core& core() { return core_; }
    DebugPort& debug_port() { return debug_port_; }
    const DebugPort& debug_port() const { return debug_port_; }
    const FlashController& flash_controller() const { return flash_controller_; }
    const ControlPort& control_port() const { return control_port_; }
    bool has_qspi_enabled() const { return qspi_ && qspi_->is_enabled(); }
    const ChipState& state() const { return state_; }

private:
    std::span<std::uint32_t> take_words(std::size_t count);
    void attach_devices();
    void attach_declared_registers();
    void attach_qspi();
    std::vector<DirectMemory> direct_memories();
    void hold(ResetKind kind, bool held);
    std::uint64_t time_to_event() const;
    void live(std::uint64_t nanoseconds);
    bool executes_flash() const;
    void carry_out_requests();

    ChipOptions options_;
    ChipState& state_;
    Services services_;
    std::size_t words_taken_ = 0;

    Bus bus_;
    BitBand ram_bits_;
    BitBand peripheral_bits_;
    Ram ram_;
    RamAlias code_alias_;
    BlockProtection protection_;
    FlashController flash_controller_;
    FlashArea code_;
    FlashArea factory_area_;
    FlashArea user_area_;
    Power power_;
    std::deque<Gpio> gpio_;
    std::optional<SerialFlash> serial_flash_; ///< behind the QSPI, which BIRCH_M2 chips have
    std::optional<Qspi> qspi_;
    std::deque<DeclaredRegister> declared_;
    InterruptLines lines_;
    RomTable rom_table_;
    ControlPort control_port_;
    DebugPort debug_port_;
    Core core_;
    MemoryPort memory_port_;

    bool reset_requested_ = false;
};

} // namespace jlinksim
