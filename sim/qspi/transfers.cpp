// The QSPI peripheral's tasks: read, write, erase.
#include "sim/qspi/qspi.h"
#include "sim/qspi/qspi_registers.h"
#include "sim/time/timing.h"

#include <algorithm>
#include <array>
#include <vector>

namespace jlinksim {
namespace {

using namespace qspi;

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

/// The receive delay that the chip's data sheet gives.
constexpr std::uint32_t right_timing = 0x200;

constexpr std::uint8_t write_enable_opcode = 0x06;
/// By the erase length register: 4 KiB, 64 KiB, all.
constexpr std::array<std::uint8_t, 3> erase_opcodes{0x20, 0xD8, 0xC7};
constexpr std::uint32_t erase_all = 2;

/// Clocks of a frame whose instruction goes over one line.
constexpr std::uint64_t frame_clocks(const LineMode& mode, unsigned address_bytes, std::uint64_t data_bytes)
{
    return 8 + 8 * address_bytes / mode.address_lines + mode.dummy_clocks + 8 * data_bytes / mode.data_lines;
}

} // namespace

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
    return clocks * clock_divider() * 1'000'000'000 / timing::qspi_clock_hertz;
}

std::uint32_t Qspi::clock_divider() const
{
    return (word(interface_1) >> 28) + 1;
}

SerialFlash::Frame Qspi::frame() const
{
    constexpr std::uint32_t deselect_unit_tenths_ns = 625; // a cycle of 16 MHz
    return {.begins_at = step_at_,
            .kilohertz = static_cast<std::uint32_t>(timing::qspi_clock_hertz / 1000) / clock_divider(),
            .spi_mode = word(interface_1) >> 25 & 1,
            .deselected_ns = (word(interface_1) & 0xFF) * deselect_unit_tenths_ns / 10};
}

void Qspi::send_instruction(std::uint8_t opcode, unsigned data_lines)
{
    SerialFlash::Frame sent = frame();
    sent.data_lines = data_lines;
    flash_.select(sent);
    flash_.exchange(opcode);
}

std::uint8_t Qspi::receive(std::uint8_t sent)
{
    const std::uint8_t received = flash_.exchange(sent);
    if (word(timing_register) == right_timing) {
        return received;
    }
    records().add("qspi-timing",
                  fmt::format("IFTIMING = 0x{:X}: bits are taken at the wrong moment", word(timing_register)));
    return static_cast<std::uint8_t>(received << 1 | 1);
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
    const LineMode& mode = read_modes.at(word(interface_0) & 7);
    send_instruction(mode.opcode, mode.data_lines);
    send_address(transfer_.flash_address);
    flash_.exchange(0); // the flash takes its dummy clocks for a byte
    std::ranges::generate(data, [this] { return receive(0); });
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
    awaits_ready_ = true;
    was_polled_ = false;
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
    const LineMode& mode = write_modes.at(word(interface_0) >> 3 & 3);
    send_instruction(mode.opcode, mode.data_lines);
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

} // namespace jlinksim
