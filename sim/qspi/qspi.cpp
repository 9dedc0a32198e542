#include "sim/qspi/qspi.h"

#include "sim/qspi/qspi_registers.h"
#include "sim/time/timing.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace jlinksim {
namespace {

using namespace qspi;

constexpr std::uint32_t is_active = 1; // in the status register

/// Pins of the interface: input buffer off, no pull, high drive.
constexpr std::uint32_t pin_configuration = 0x302;
/// Bits of interface configuration register 1 that stay as the reset leaves them.
constexpr std::uint32_t interface_1_fixed = 0x00040400;
constexpr std::uint32_t not_connected = 0xFFFFFFFF;

struct Line
{
    const char* name;
    std::uint32_t select_register;
};
constexpr std::array lines{
    Line{"CLK", 0x524},  Line{"CSN", 0x528},  Line{"DIO0", 0x530},
    Line{"DIO1", 0x534}, Line{"DIO2", 0x538}, Line{"DIO3", 0x53C},
};

} // namespace

struct QspiTable
{
    static constexpr std::uint32_t all = ~0U;
    static constexpr std::array rows{
        // clang-format off
        //             name                offset             reset          writable    on write               on read
        Register<Qspi>{"TASKS_ACTIVATE",   0x000,             0,             0,          &Qspi::activate},
        Register<Qspi>{"TASKS_READSTART",  0x004,             0,             0,          &Qspi::start_read},
        Register<Qspi>{"TASKS_WRITESTART", 0x008,             0,             0,          &Qspi::start_write},
        Register<Qspi>{"TASKS_ERASESTART", 0x00C,             0,             0,          &Qspi::start_erase},
        Register<Qspi>{"TASKS_DEACTIVATE", 0x010,             0,             0,          &Qspi::deactivate},
        Register<Qspi>{"RELEASE",          release_register,  1,             1},
        Register<Qspi>{"EVENTS_READY",     ready_register,    0,             1,          &Qspi::write_ready,    &Qspi::read_ready},
        Register<Qspi>{"INTEN",            interrupt_register, 0,            1},
        Register<Qspi>{.name = "INTENSET", .offset = 0x304, .writable = 1, .effect = WriteEffect::set_other, .other = interrupt_register},
        Register<Qspi>{.name = "INTENCLR", .offset = 0x308, .writable = 1, .effect = WriteEffect::clear_other, .other = interrupt_register},
        Register<Qspi>{"ENABLE",           enable_register,   0,             1,          &Qspi::write_enable},
        Register<Qspi>{"READ.SRC",         read_source,       0,             all},
        Register<Qspi>{"READ.DST",         read_destination,  0,             all},
        Register<Qspi>{"READ.CNT",         read_count,        0,             all},
        Register<Qspi>{"WRITE.DST",        write_destination, 0,             all},
        Register<Qspi>{"WRITE.SRC",        write_source,      0,             all},
        Register<Qspi>{"WRITE.CNT",        write_count,       0,             all},
        Register<Qspi>{"ERASE.PTR",        erase_pointer,     0,             all},
        Register<Qspi>{"ERASE.LEN",        erase_length,      0,             3},
        Register<Qspi>{"PSEL.CLK",         0x524,             not_connected, all},
        Register<Qspi>{"PSEL.CSN",         0x528,             not_connected, all},
        Register<Qspi>{"PSEL.DIO0",        0x530,             not_connected, all},
        Register<Qspi>{"PSEL.DIO1",        0x534,             not_connected, all},
        Register<Qspi>{"PSEL.DIO2",        0x538,             not_connected, all},
        Register<Qspi>{"PSEL.DIO3",        0x53C,             not_connected, all},
        Register<Qspi>{"IFCONFIG0",        interface_0,       0,             0x0000107F},
        Register<Qspi>{"IFCONFIG1",        interface_1,       0x00040480,    0xF20404FF},
        Register<Qspi>{"STATUS",           status_register},
        Register<Qspi>{"CINSTRCONF",       0x634,             0,             0x00033FFF, &Qspi::start_custom},
        Register<Qspi>{.name = "CINSTRDAT", .offset = custom_data_0, .writable = all, .on_read = &Qspi::read_custom_data, .count = 2},
        Register<Qspi>{"IFTIMING",         timing_register,   0x00000200,    0x00000700},
        // clang-format on
    };
};

const std::span<const Register<Qspi>> Qspi::table{QspiTable::rows};

Qspi::Qspi(SerialFlash& flash, bool has_long_frames, const HardwareFaults& faults, std::span<std::uint32_t> words,
           Services services, Connections connections)
    : RegisterBlock("QSPI", table, words, services.records),
      flash_(flash),
      has_long_frames_(has_long_frames),
      faults_(faults),
      clock_(services.clock),
      connections_(std::move(connections))
{
}

void Qspi::reset(ResetKind kind)
{
    RegisterBlock::reset(kind);
    step_ = nullptr;
    frame_is_open_ = false;
    awaits_ready_ = false;
    if (kind == ResetKind::power_on) {
        flash_.power_on();
    }
}

bool Qspi::is_enabled() const
{
    return word(enable_register) != 0;
}

void Qspi::begin(Step step, std::uint64_t nanoseconds)
{
    awaits_ready_ = true;
    was_polled_ = false;
    step_ = step;
    step_at_ = clock_.device() + nanoseconds;
}

void Qspi::settle()
{
    while (step_ != nullptr && clock_.device() >= step_at_) {
        (this->*std::exchange(step_, nullptr))();
    }
}

std::uint64_t Qspi::next_event() const
{
    return step_ != nullptr ? step_at_ : no_event;
}

bool Qspi::interrupt() const
{
    return (word(interrupt_register) & word(ready_register) & 1U) != 0;
}

void Qspi::complete()
{
    word(ready_register) = faults_.qspi_never_ready ? 0 : 1;
    awaits_ready_ = awaits_ready_ && !interrupt(); // whom that interrupts does not have to ask
}

std::uint32_t Qspi::read_ready(unsigned /*index*/)
{
    settle();
    was_polled_ = true;
    awaits_ready_ = awaits_ready_ && word(ready_register) == 0;
    return word(ready_register);
}

std::uint32_t Qspi::read_custom_data(unsigned index)
{
    settle();
    if (awaits_ready_) {
        note_not_waited("read of CINSTRDAT");
    }
    return word(custom_data_0 + 4 * index);
}

void Qspi::note_not_waited(const char* what)
{
    records().add("qspi-not-waited", fmt::format("{} before EVENTS_READY was read as 1", what));
}

void Qspi::write_ready(std::uint32_t value, unsigned /*index*/)
{
    if (std::exchange(awaits_ready_, false)) {
        note_not_waited("clearing it");
    }
    if (value != 0) {
        records().add("qspi-event-set", fmt::format("EVENTS_READY = 0x{:X}; it can only be cleared", value));
        word(ready_register) = 0;
    }
}

void Qspi::stop()
{
    settle();
    // Ending what has been waited for in vain is in order.
    if (std::exchange(awaits_ready_, false) && !was_polled_) {
        note_not_waited("the end");
    }
    if (flash_.is_erasing(clock_.device())) {
        records().add("serial-flash-left-erasing", "the peripheral is stopped while the flash erases");
    }
    step_ = nullptr;
    word(status_register) = 0;
}

void Qspi::write_enable(std::uint32_t value, unsigned /*index*/)
{
    if ((value & 1) != 0) {
        return;
    }
    abandon_long_frame("ENABLE = 0");
    if (word(status_register) != 0) {
        records().add("qspi-still-active", "ENABLE = 0 without TASKS_DEACTIVATE");
    } else if (word(release_register) == 0) {
        records().add("qspi-lines-held", "ENABLE = 0 without RELEASE = 1: the lines keep drawing current");
    }
    stop();
}

bool Qspi::has_lines(const char* task)
{
    std::vector<std::uint32_t> taken;
    for (const Line& line : lines) {
        const std::uint32_t select = word(line.select_register);
        const unsigned port = select >> 5;
        const unsigned pin = select & 31;
        const bool exists = port == 0 || (port == 1 && pin < 16);
        if (!exists || connections_.pin_configuration(port, pin) != pin_configuration) {
            records().add("qspi-pin", fmt::format("{} while {} has no pin configured for it", task, line.name));
            return false;
        }
        if (std::ranges::find(taken, select) != taken.end()) {
            records().add("qspi-pin", fmt::format("{} while {} has the pin of another line", task, line.name));
            return false;
        }
        taken.push_back(select);
    }
    return true;
}

void Qspi::abandon_long_frame(const char* what)
{
    if (std::exchange(frame_is_open_, false)) {
        records().add("qspi-long-frame-open",
                      fmt::format("{} while the long frame of 0x{:02X} is not closed", what, custom_.opcode));
        flash_.deselect();
    }
}

bool Qspi::may_start(const char* task)
{
    settle();
    if (word(enable_register) == 0) {
        records().add("qspi-disabled", fmt::format("{} while the peripheral is disabled", task));
        return false;
    }
    if (step_ != nullptr) {
        records().add("qspi-busy", fmt::format("{} while another task runs", task));
        return false;
    }
    if (std::exchange(awaits_ready_, false)) {
        note_not_waited(task);
    }
    if (word(ready_register) != 0) {
        records().add("qspi-ready-not-cleared", fmt::format("{} while the ready event is set", task));
    }
    return has_lines(task);
}

bool Qspi::may_use_lines(const char* task)
{
    if (!may_start(task)) {
        return false;
    }
    if (word(status_register) != is_active) {
        records().add("qspi-inactive", fmt::format("{} before TASKS_ACTIVATE", task));
        return false;
    }
    return true;
}

void Qspi::activate(std::uint32_t value, unsigned /*index*/)
{
    if ((value & 1) != 0 && may_start("TASKS_ACTIVATE")) {
        if ((word(interface_1) & interface_1_fixed) != interface_1_fixed) {
            records().add("qspi-interface-reserved", fmt::format("IFCONFIG1 = 0x{:08X}", word(interface_1)));
        }
        begin(&Qspi::finish_activation, timing::qspi_activation_ns);
    }
}

void Qspi::finish_activation()
{
    word(status_register) = is_active;
    word(release_register) = 0;
    complete();
}

/// Allowed in any state: it also ends what never gets ready.
void Qspi::deactivate(std::uint32_t value, unsigned /*index*/)
{
    if ((value & 1) != 0) {
        abandon_long_frame("TASKS_DEACTIVATE");
        stop();
    }
}

} // namespace jlinksim
