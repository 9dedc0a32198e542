#include "sim/chip/chip.h"

#include "sim/chip/factory.h"
#include "sim/state/chip_state.h"

#include <array>
#include <cassert>
#include <cstring>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t code_base = 0x00000000;
constexpr std::uint32_t factory_base = 0x10000000;
constexpr std::uint32_t user_base = 0x10001000;
constexpr std::uint32_t peripheral_bytes = 0x1000;
constexpr std::uint8_t memory_port_index = 0;
constexpr std::uint8_t control_port_index = 1;

FlashController::Areas areas_of(const ChipState& state)
{
    return {
        //           name     address        bytes                 factory key  code
        .code = {"flash", code_base, state.flash(), false, true},
        .factory = {"FICR", factory_base, state.factory_area(), true, false},
        .user = {"UICR", user_base, state.user_area(), false, false},
    };
}

/// A peripheral's interrupt has the number of its window.
constexpr unsigned interrupt_of(std::uint32_t base)
{
    return base / peripheral_bytes % 64;
}

std::uint32_t alias_first(const ChipModel& model)
{
    return model.ram_code_alias == 0 ? 0 : model.ram_bytes() / 2;
}

} // namespace

Chip::Chip(const ChipOptions& options, ChipState& state, Services services)
    : options_(options),
      state_(state),
      services_(services),
      bus_(services.records),
      ram_bits_(bus_, Ram::base),
      peripheral_bits_(bus_, Power::base),
      ram_(model(), state.ram(), services.records),
      code_alias_(ram_, alias_first(model())),
      protection_(model(), options.protected_blocks, take_words(register_words(BlockProtection::table)),
                  services.records),
      flash_controller_(
          areas_of(state), protection_, options_.faults, take_words(register_words(FlashController::table)), services,
          {.on_change = [this](std::uint32_t address, std::uint32_t length) { core_.code_changed(address, length); },
           .is_cpu = [this] { return core_.is_executing(); },
           .cpu_executes_flash = [this] { return executes_flash(); },
           .stall_cpu = [this](std::uint64_t time, bool is_interruptible) { core_.stall(time, is_interruptible); }}),
      code_(flash_controller_, flash_controller_.areas().code),
      factory_area_(flash_controller_, flash_controller_.areas().factory),
      user_area_(flash_controller_, flash_controller_.areas().user),
      power_(model(), ram_, take_words(register_words(Power::table)), services.records,
             [this] { core_.memories_changed(); }),
      lines_([this](unsigned interrupt, bool high) { core_.drive(interrupt, high); }),
      rom_table_(options.rom_part, options.rom_revision, take_words(register_words(RomTable::table)), services.records),
      control_port_(options_.faults, take_words(register_words(ControlPort::table)), services,
                    {.erase_everything = [this] { flash_controller_.erase_everything(); },
                     .hold_in_reset = [this](bool held) { hold(ResetKind::control, held); }}),
      debug_port_(take_words(register_words(DebugPort::table)), services.records),
      core_(bus_, state.powered().cpu,
            {.debug = take_words(register_words(DebugControl::table)),
             .control = take_words(register_words(SystemControl::table)),
             .timer = take_words(register_words(SysTick::table)),
             .nvic = take_words(register_words(Nvic::table)),
             .fpb = take_words(register_words(Fpb::table)),
             .dwt = take_words(register_words(Dwt::table))},
            services.records,
            {.request_reset = [this] { reset_requested_ = true; },
             .memories = [this] { return direct_memories(); },
             .live = [this](std::uint64_t nanoseconds) { live(nanoseconds); },
             .time_to_event = [this] { return time_to_event(); },
             .peripheral_written = [this] { lines_.drive(); }}),
      memory_port_(
          take_words(register_words(MemoryPort::table)), services.records,
          {.read = [this](std::uint32_t address, std::span<std::uint8_t> data) { return debug_read(address, data); },
           .write = [this](std::uint32_t address,
                           std::span<const std::uint8_t> data) { return debug_write(address, data); },
           .is_open = [this] { return is_debuggable(); }})
{
    attach_devices();
    if (is_powered_up()) {
        power_.restore_ram_power();
        core_.hold(is_held());
    }
}

std::span<std::uint32_t> Chip::take_words(std::size_t count)
{
    assert(words_taken_ + count <= VolatileState::register_words);
    words_taken_ += count;
    return std::span{state_.powered().registers}.subspan(words_taken_ - count, count);
}

void Chip::attach_devices()
{
    bus_.attach(code_base, model().flash_bytes, code_);
    bus_.attach(factory_base, information_area_bytes, factory_area_);
    bus_.attach(user_base, information_area_bytes, user_area_);
    bus_.attach(Ram::base, model().ram_bytes(), ram_);
    if (model().ram_code_alias != 0) {
        bus_.attach(model().ram_code_alias, model().ram_bytes() - alias_first(model()), code_alias_);
    }
    // What the bench declares comes before what the chips have: it may lie between their registers.
    attach_declared_registers();
    // The disable register lies inside another block's window, and so comes before it.
    if (model().release == BlockProtectionRelease::by_register) {
        bus_.attach(model().release_register, BlockProtection::window_bytes, protection_);
    }
    bus_.attach(Power::base, peripheral_bytes, power_);
    bus_.attach(FlashController::base, peripheral_bytes, flash_controller_);
    for (std::uint32_t port = 0; port < model().gpio_ports; ++port) {
        const auto table = port == 0 ? Gpio::table : Gpio::small_table;
        gpio_.emplace_back(port == 0 ? "P0" : "P1", table, take_words(register_words(table)), services_.records);
        bus_.attach(Gpio::first_port_base + port * Gpio::port_stride + Gpio::window_begin, Gpio::window_bytes,
                    gpio_.back(), Gpio::window_begin);
    }
    if (model().has_qspi) {
        attach_qspi();
    }
    core_.attach_to(bus_);
    bus_.attach(BitBand::ram_window, BitBand::bytes, ram_bits_);
    bus_.attach(BitBand::peripheral_window, BitBand::bytes, peripheral_bits_);
    bus_.attach(RomTable::base, RomTable::bytes, rom_table_);
    debug_port_.attach(memory_port_index, memory_port_);
    if (options_.has_control_port) {
        debug_port_.attach(control_port_index, control_port_);
    }
}

void Chip::attach_declared_registers()
{
    for (const RegisterOptions& options : options_.registers) {
        DeclaredRegister& added =
            declared_.emplace_back(options, declared_, take_words(options.state_words()), services_);
        bus_.attach(options.address, options.bytes(), added);
        if (options.interrupt || !options.effects.empty()) {
            lines_.add(added, options.interrupt);
        }
    }
}

void Chip::attach_qspi()
{
    serial_flash_.emplace(options_.serial_flash, state_.external_flash(), take_words(SerialFlash::words),
                          services_.records);
    qspi_.emplace(
        *serial_flash_, model().has_long_frames, options_.faults, take_words(register_words(Qspi::table)), services_,
        Qspi::Connections{
            .pin_configuration = [this](unsigned port, unsigned pin) { return gpio_.at(port).pin_configuration(pin); },
            .is_ram =
                [this](std::uint32_t address, std::uint32_t length) {
                    const std::uint32_t offset = address - Ram::base;
                    return length <= model().ram_bytes() && offset <= model().ram_bytes() - length;
                },
            .read_ram = [this](std::uint32_t address, std::span<std::uint8_t> data) { bus_.read(address, data); },
            .write_ram =
                [this](std::uint32_t address, std::span<const std::uint8_t> data) {
                    bus_.write(address, data);
                    core_.code_changed(address, static_cast<std::uint32_t>(data.size()));
                },
        });
    bus_.attach(Qspi::base, peripheral_bytes, *qspi_);
    lines_.add(*qspi_, interrupt_of(Qspi::base));
}

std::vector<DirectMemory> Chip::direct_memories()
{
    std::vector<DirectMemory> memories{{code_base, state_.flash(), false}};
    for (const Ram::Section& section : ram_.sections()) {
        if (!section.powered) {
            continue;
        }
        memories.push_back({Ram::base + section.offset, ram_.bytes_of(section), true});
        const std::uint32_t first = alias_first(model());
        if (model().ram_code_alias != 0 && section.offset >= first) {
            memories.push_back({model().ram_code_alias + section.offset - first, ram_.bytes_of(section), true});
        }
    }
    return memories;
}

bool Chip::is_ram(std::uint32_t address, std::uint64_t length)
{
    std::vector<DirectMemory> memories = direct_memories();
    std::erase_if(memories, [](const DirectMemory& memory) { return !memory.writable; });
    return covers(memories, address, length);
}

bool Chip::is_memory(std::uint32_t address, std::uint64_t length)
{
    return covers(direct_memories(), address, length);
}

bool Chip::is_powered_up() const
{
    const VolatileState& powered = state_.powered();
    return powered.layout == VolatileState::current_layout && powered.register_words_used == words_taken_;
}

void Chip::reset(ResetKind kind)
{
    if (kind == ResetKind::power_on) {
        ram_.lose_content();
        state_.powered().reset_line_is_low = 0;
        debug_port_.reset(kind);
        control_port_.reset(kind);
        state_.powered().layout = 0; // until all is done: a kill in between must not leave half a chip
        state_.powered().register_words_used = static_cast<std::uint32_t>(words_taken_);
    }
    const std::array<BusDevice*, 5> parts{&protection_, &flash_controller_, &power_, &rom_table_, &memory_port_};
    for (BusDevice* const part : parts) {
        part->reset(kind);
    }
    for (Gpio& port : gpio_) {
        port.reset(kind);
    }
    for (DeclaredRegister& each : declared_) {
        each.reset(kind);
    }
    if (qspi_) {
        qspi_->reset(kind);
    }
    std::uint32_t protection = 0;
    std::memcpy(&protection, state_.user_area().subspan(protection_word, sizeof protection).data(), sizeof protection);
    control_port_.set_protected((protection & 0xFF) != 0xFF);
    reset_requested_ = false;
    core_.hold(is_held());
    lines_.drive(); // the lines of peripherals that were reset are low again
    core_.reset(kind);
    state_.powered().layout = VolatileState::current_layout;
}

bool Chip::is_reset_line_low() const
{
    return state_.powered().reset_line_is_low != 0;
}

void Chip::hold(ResetKind kind, bool held)
{
    core_.hold(is_held());
    if (!held) {
        reset(kind);
    }
}

void Chip::drive_reset_line(bool low)
{
    if (std::exchange(state_.powered().reset_line_is_low, low ? 1U : 0U) != (low ? 1U : 0U)) {
        hold(ResetKind::pin, low);
    }
}

bool Chip::debug_read(std::uint32_t address, std::span<std::uint8_t> data)
{
    lines_.settle();
    return is_debuggable() && bus_.read(address, data);
}

bool Chip::debug_write(std::uint32_t address, std::span<const std::uint8_t> data)
{
    if (!is_debuggable()) {
        return false;
    }
    lines_.settle();
    const bool ok = bus_.write(address, data);
    core_.code_changed(address, static_cast<std::uint32_t>(data.size()));
    lines_.drive();
    carry_out_requests();
    return ok;
}

bool Chip::poke(std::uint32_t address, std::span<const std::uint8_t> data)
{
    const bool ok = bus_.poke(address, data);
    core_.code_changed(address, static_cast<std::uint32_t>(data.size()));
    return ok;
}

bool Chip::executes_flash() const
{
    return core_.state() == RunState::running && core_.program_counter() < model().flash_bytes;
}

std::uint64_t Chip::time_to_event() const
{
    const std::uint64_t next = lines_.next_event();
    const std::uint64_t now = services_.clock.device();
    return next == BusDevice::no_event ? next : std::max(next, now) - now;
}

void Chip::live(std::uint64_t nanoseconds)
{
    services_.clock.live(nanoseconds);
    if (lines_.next_event() <= services_.clock.device()) {
        lines_.settle();
    }
}

void Chip::elapse(std::uint64_t from, std::uint64_t nanoseconds)
{
    {
        const Clock::Life life{services_.clock, from};
        lines_.settle();
        core_.elapse(nanoseconds);
    }
    const Clock::Life end{services_.clock, from + nanoseconds};
    lines_.settle();
    carry_out_requests();
}

void Chip::carry_out_requests()
{
    if (reset_requested_) {
        reset(ResetKind::system);
    }
}

} // namespace jlinksim
