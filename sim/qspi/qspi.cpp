#include "sim/qspi/qspi.h"

#include "sim/time/timing.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace jlinksim {
namespace {

constexpr std::uint32_t release_register = 0x054;
constexpr std::uint32_t ready_register = 0x100;
constexpr std::uint32_t enable_register = 0x500;
constexpr std::uint32_t read_source = 0x504;
constexpr std::uint32_t read_destination = 0x508;
constexpr std::uint32_t read_count = 0x50C;
constexpr std::uint32_t write_destination = 0x510;
constexpr std::uint32_t write_source = 0x514;
constexpr std::uint32_t write_count = 0x518;
constexpr std::uint32_t erase_pointer = 0x51C;
constexpr std::uint32_t erase_length = 0x520;
constexpr std::uint32_t interface_0 = 0x544;
constexpr std::uint32_t interface_1 = 0x600;
constexpr std::uint32_t status_register = 0x604;
constexpr std::uint32_t custom_data_0 = 0x638;

constexpr std::uint32_t is_active = 1; // in the status register

/// Pins of the interface: input buffer off, no pull, high drive.
constexpr std::uint32_t pin_configuration = 0x302;
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

/// How bytes go over the lines, by the mode's code in interface configuration register 0.
struct LineMode
{
    std::uint8_t opcode;
    unsigned address_lines;
    unsigned data_lines;
    unsigned dummy_clocks;
};
constexpr std::array read_modes{
    LineMode{0x0B, 1, 1, 8}, LineMode{0x3B, 1, 2, 8}, LineMode{0xBB, 2, 2, 4},
    LineMode{0x6B, 1, 4, 8}, LineMode{0xEB, 4, 4, 6},
};
constexpr std::array write_modes{
    LineMode{0x02, 1, 1, 0},
    LineMode{0xA2, 1, 2, 0},
    LineMode{0x32, 1, 4, 0},
    LineMode{0x38, 4, 4, 0},
};

constexpr std::uint8_t write_enable_opcode = 0x06;
/// By the erase length register: 4 KiB, 64 KiB, all.
constexpr std::array<std::uint8_t, 3> erase_opcodes{0x20, 0xD8, 0xC7};
constexpr std::uint32_t erase_all = 2;

constexpr unsigned longest_step = 9; // the opcode and two data registers
constexpr std::uint32_t long_frame_bits = 3U << 16;

/// Clocks of a frame whose instruction goes over one line.
constexpr std::uint64_t frame_clocks(const LineMode& mode, unsigned address_bytes, std::uint64_t data_bytes)
{
    return 8 + 8 * address_bytes / mode.address_lines + mode.dummy_clocks + 8 * data_bytes / mode.data_lines;
}

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
        Register<Qspi>{"CINSTRDAT0",       custom_data_0,     0,             all},
        Register<Qspi>{"CINSTRDAT1",       custom_data_0 + 4, 0,             all},
        Register<Qspi>{"IFTIMING",         0x640,             0x00000200,    0x00000700},
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
    if (kind == ResetKind::power_on) {
        flash_.power_on();
    }
}

void Qspi::begin(Step step, std::uint64_t nanoseconds)
{
    step_ = step;
    step_at_ = clock_.device() + nanoseconds;
}

void Qspi::settle()
{
    while (step_ != nullptr && clock_.device() >= step_at_) {
        (this->*std::exchange(step_, nullptr))();
    }
}

void Qspi::complete()
{
    word(ready_register) = faults_.qspi_never_ready ? 0 : 1;
}

std::uint32_t Qspi::read_ready(unsigned /*index*/)
{
    settle();
    return word(ready_register);
}

void Qspi::write_ready(std::uint32_t value, unsigned /*index*/)
{
    if (value != 0) {
        records().add("qspi-event-set", fmt::format("EVENTS_READY = 0x{:X}; it can only be cleared", value));
        word(ready_register) = 0;
    }
}

void Qspi::stop()
{
    settle();
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

bool Qspi::may_transfer(const char* task, const Transfer& transfer)
{
    if (!may_use_lines(task)) {
        return false;
    }
    if (transfer.bytes == 0 || (transfer.flash_address | transfer.ram_address | transfer.bytes) % 4 != 0) {
        records().add("qspi-transfer-not-word",
                      fmt::format("{} of {} bytes, RAM 0x{:08X}, flash 0x{:08X}", task, transfer.bytes,
                                  transfer.ram_address, transfer.flash_address));
        return false;
    }
    if (!connections_.is_ram(transfer.ram_address, transfer.bytes)) {
        records().add("qspi-transfer-not-ram",
                      fmt::format("{} of {} bytes at 0x{:08X}", task, transfer.bytes, transfer.ram_address));
        return false;
    }
    if (address_bytes() != flash_.address_bytes()) {
        records().add("qspi-address-mode", fmt::format("{} with addresses of {} bytes; the flash expects {}", task,
                                                       address_bytes(), flash_.address_bytes()));
    }
    return true;
}

void Qspi::activate(std::uint32_t value, unsigned /*index*/)
{
    if ((value & 1) != 0 && may_start("TASKS_ACTIVATE")) {
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

unsigned Qspi::address_bytes() const
{
    return (word(interface_0) >> 6 & 1) != 0 ? 4 : 3;
}

std::uint32_t Qspi::page_bytes() const
{
    return (word(interface_0) >> 12 & 1) != 0 ? 512 : 256;
}

std::uint64_t Qspi::lines_ns(std::uint64_t clocks) const
{
    const std::uint64_t divider = (word(interface_1) >> 28) + 1;
    return clocks * divider * 1'000'000'000 / timing::qspi_clock_hertz;
}

void Qspi::send_instruction(std::uint8_t opcode)
{
    flash_.select(step_at_);
    flash_.exchange(opcode);
}

void Qspi::send_address(std::uint32_t address)
{
    for (unsigned byte = address_bytes(); byte-- > 0;) {
        flash_.exchange(static_cast<std::uint8_t>(address >> 8 * byte));
    }
}

void Qspi::start_read(std::uint32_t value, unsigned /*index*/)
{
    abandon_long_frame("TASKS_READSTART");
    const Transfer transfer{word(read_source), word(read_destination), word(read_count)};
    const std::uint32_t mode = word(interface_0) & 7;
    if ((value & 1) == 0 || !may_transfer("TASKS_READSTART", transfer)) {
        return;
    }
    if (mode >= read_modes.size()) {
        records().add("qspi-mode-reserved", fmt::format("read mode {}", mode));
        return;
    }
    transfer_ = transfer;
    begin(&Qspi::finish_read, lines_ns(frame_clocks(read_modes.at(mode), address_bytes(), transfer.bytes)));
}

void Qspi::finish_read()
{
    std::vector<std::uint8_t> data(transfer_.bytes);
    send_instruction(read_modes.at(word(interface_0) & 7).opcode);
    send_address(transfer_.flash_address);
    flash_.exchange(0); // the flash takes its dummy clocks for a byte
    std::ranges::generate(data, [this] { return flash_.exchange(0); });
    flash_.deselect();
    connections_.write_ram(transfer_.ram_address, data);
    complete();
}

void Qspi::start_write(std::uint32_t value, unsigned /*index*/)
{
    abandon_long_frame("TASKS_WRITESTART");
    const Transfer transfer{word(write_destination), word(write_source), word(write_count)};
    if ((value & 1) == 0 || !may_transfer("TASKS_WRITESTART", transfer)) {
        return;
    }
    transfer_ = transfer;
    written_ = 0;
    step_at_ = clock_.device();
    schedule_page();
}

std::uint32_t Qspi::next_page_bytes() const
{
    const std::uint32_t rest_of_page = page_bytes() - (transfer_.flash_address + written_) % page_bytes();
    return std::min(rest_of_page, transfer_.bytes - written_);
}

/// Sends the next page as soon as the flash is ready, from the end of the step before.
void Qspi::schedule_page()
{
    const LineMode& mode = write_modes.at(word(interface_0) >> 3 & 3);
    const std::uint64_t clocks = 8 + frame_clocks(mode, address_bytes(), next_page_bytes()); // 8: the write enable
    const std::uint64_t starts_at = std::max(step_at_, flash_.ready_at());
    step_ = &Qspi::finish_page;
    step_at_ = starts_at == SerialFlash::never ? starts_at : starts_at + lines_ns(clocks);
}

void Qspi::finish_page()
{
    std::vector<std::uint8_t> data(next_page_bytes());
    connections_.read_ram(transfer_.ram_address + written_, data);
    send_instruction(write_enable_opcode);
    flash_.deselect();
    send_instruction(write_modes.at(word(interface_0) >> 3 & 3).opcode);
    send_address(transfer_.flash_address + written_);
    std::ranges::for_each(data, [this](std::uint8_t byte) { flash_.exchange(byte); });
    flash_.deselect();
    written_ += static_cast<std::uint32_t>(data.size());
    if (written_ < transfer_.bytes) {
        schedule_page();
    } else {
        complete();
    }
}

void Qspi::start_erase(std::uint32_t value, unsigned /*index*/)
{
    abandon_long_frame("TASKS_ERASESTART");
    if ((value & 1) == 0 || !may_use_lines("TASKS_ERASESTART")) {
        return;
    }
    if (word(erase_length) >= erase_opcodes.size()) {
        records().add("qspi-erase-length", fmt::format("ERASE.LEN = {}", word(erase_length)));
        return;
    }
    begin(&Qspi::finish_erase, lines_ns(8 + 8 + 8 * address_bytes()));
}

void Qspi::finish_erase()
{
    const std::uint32_t length = word(erase_length);
    send_instruction(write_enable_opcode);
    flash_.deselect();
    send_instruction(erase_opcodes.at(length));
    if (length != erase_all) {
        send_address(word(erase_pointer));
    }
    flash_.deselect();
    complete();
}

void Qspi::start_custom(std::uint32_t value, unsigned /*index*/)
{
    const CustomInstruction wanted{.opcode = static_cast<std::uint8_t>(value),
                                   .length = value >> 8 & 0xF,
                                   .is_long = (value >> 16 & 1) != 0,
                                   .is_last = (value >> 17 & 1) != 0};
    if ((value & long_frame_bits) != 0 && !has_long_frames_) {
        records().add("qspi-long-frame-unsupported", fmt::format("CINSTRCONF = 0x{:X}", value));
        return;
    }
    settle();
    const bool continues = frame_is_open_ && wanted.is_long && wanted.opcode == custom_.opcode;
    if (continues && wanted.is_last && wanted.length == 1 && step_ == nullptr) {
        frame_is_open_ = false; // nothing but the end, which is no task
        flash_.deselect();
        return;
    }
    if (!continues) {
        abandon_long_frame("CINSTRCONF");
    }
    if (!may_use_lines("CINSTRCONF")) {
        return;
    }
    if (wanted.length == 0 || wanted.length > longest_step) {
        records().add("qspi-custom-length", fmt::format("CINSTRCONF = 0x{:X}", value));
        return;
    }
    custom_ = wanted;
    begin(&Qspi::finish_custom, lines_ns(8ULL * wanted.length));
}

void Qspi::finish_custom()
{
    if (!frame_is_open_) {
        send_instruction(custom_.opcode);
    }
    for (unsigned i = 0; i + 1 < custom_.length; ++i) {
        std::uint32_t& data = word(custom_data_0 + i / 4 * 4);
        const unsigned shift = 8 * (i % 4);
        const std::uint32_t received = flash_.exchange(static_cast<std::uint8_t>(data >> shift));
        data = (data & ~(0xFFU << shift)) | received << shift;
    }
    frame_is_open_ = custom_.is_long && !custom_.is_last;
    if (!frame_is_open_) {
        flash_.deselect();
    }
    complete();
}

} // namespace jlinksim
