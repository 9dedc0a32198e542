#include "sim/qspi/serial_flash.h"

#include "sim/time/timing.h"

#include <algorithm>
#include <array>
#include <bit>
#include <fmt/core.h>

namespace jlinksim {
namespace {

constexpr std::uint8_t ones = 0xFF;
constexpr std::uint32_t kib = 1024;

/// Manufacturer and type. Neither is anybody's: the first has even parity, which no manufacturer's number has.
constexpr std::uint8_t manufacturer = 0x5A;
constexpr std::uint8_t memory_type = 0x51;

} // namespace

/// A row of the flash's data sheet.
struct SerialFlash::Instruction
{
    std::uint8_t opcode;
    const char* name;
    bool has_address = false;
    unsigned dummy_bytes = 0;
    bool takes_data = false;
    std::uint8_t (SerialFlash::*answer)() = nullptr; ///< the next byte that it sends
    void (SerialFlash::*act)() = nullptr;            ///< at the end of the frame
    std::uint32_t erase_bytes = 0;
    std::uint64_t duration_ns = 0;
};

struct InstructionSet
{
    using Flash = SerialFlash;
    static constexpr std::array rows{
        // clang-format off
        //                 opcode name                address dummy data  answers                        acts at the end              erases    takes
        Flash::Instruction{0x06, "write enable",       false, 0, false, nullptr,                       &Flash::enable_writes},
        Flash::Instruction{0x04, "write disable",      false, 0, false, nullptr,                       &Flash::disable_writes},
        Flash::Instruction{0x05, "read status",        false, 0, false, &Flash::answer_status},
        Flash::Instruction{0x9F, "read identification",false, 0, false, &Flash::answer_identification},
        Flash::Instruction{0x03, "read",               true,  0, false, &Flash::answer_content},
        Flash::Instruction{0x0B, "fast read",          true,  1, false, &Flash::answer_content},
        Flash::Instruction{0x3B, "dual output read",   true,  1, false, &Flash::answer_content},
        Flash::Instruction{0xBB, "dual I/O read",      true,  1, false, &Flash::answer_content},
        Flash::Instruction{0x6B, "quad output read",   true,  1, false, &Flash::answer_content},
        Flash::Instruction{0xEB, "quad I/O read",      true,  1, false, &Flash::answer_content},
        Flash::Instruction{0x02, "page program",       true,  0, true,  nullptr,                       &Flash::program,             0,        timing::serial_flash_page_program_ns},
        Flash::Instruction{0xA2, "dual page program",  true,  0, true,  nullptr,                       &Flash::program,             0,        timing::serial_flash_page_program_ns},
        Flash::Instruction{0x32, "quad page program",  true,  0, true,  nullptr,                       &Flash::program,             0,        timing::serial_flash_page_program_ns},
        Flash::Instruction{0x38, "quad I/O program",   true,  0, true,  nullptr,                       &Flash::program,             0,        timing::serial_flash_page_program_ns},
        Flash::Instruction{0x20, "4 KiB erase",        true,  0, false, nullptr,                       &Flash::erase_block,         4 * kib,  timing::serial_flash_erase_4k_ns},
        Flash::Instruction{0x52, "32 KiB erase",       true,  0, false, nullptr,                       &Flash::erase_block,         32 * kib, timing::serial_flash_erase_32k_ns},
        Flash::Instruction{0xD8, "64 KiB erase",       true,  0, false, nullptr,                       &Flash::erase_block,         64 * kib, timing::serial_flash_erase_64k_ns},
        Flash::Instruction{0xC7, "chip erase",         false, 0, false, nullptr,                       &Flash::erase_chip},
        Flash::Instruction{0x60, "chip erase",         false, 0, false, nullptr,                       &Flash::erase_chip},
        Flash::Instruction{0xB7, "4-byte addresses",   false, 0, false, nullptr,                       &Flash::use_long_addresses},
        Flash::Instruction{0xE9, "3-byte addresses",   false, 0, false, nullptr,                       &Flash::use_short_addresses},
        // clang-format on
    };
};

SerialFlash::SerialFlash(const SerialFlashOptions& options, std::span<std::uint8_t> content,
                         std::span<std::uint32_t> words, Records& records)
    : options_(options), content_(content), words_(words), records_(records)
{
}

void SerialFlash::power_on()
{
    std::ranges::fill(words_, 0U);
    ready_at_ = 0;
    erased_at_ = 0;
    instruction_ = nullptr;
}

std::uint64_t SerialFlash::ready_at() const
{
    const bool shows_busy = options_.never_ready || options_.is_missing || content_.empty();
    return shows_busy ? never : ready_at_;
}

unsigned SerialFlash::address_bytes() const
{
    return words_[long_addresses_word] != 0 ? 4 : 3;
}

std::pair<const char*, const char*> SerialFlash::problem_of(const Frame& frame) const
{
    if (options_.has_pins && frame.holds) {
        return {"serial-flash-held", "a frame while IO3, its HOLD, is low"};
    }
    if (options_.spi_mode && *options_.spi_mode != frame.spi_mode) {
        return {"serial-flash-spi-mode", "a frame in the other SPI mode"};
    }
    if (options_.highest_khz != 0 && frame.kilohertz > options_.highest_khz) {
        return {"serial-flash-too-fast", "a frame that is faster than it follows"};
    }
    if (frame.deselected_ns < options_.deselect_ns) {
        return {"serial-flash-deselect-short", "a frame too soon after the one before"};
    }
    if (frame.data_lines > options_.data_lines) {
        return {"serial-flash-lines", "a frame with more data lines than it has"};
    }
    return {};
}

void SerialFlash::select(const Frame& frame)
{
    now_ = frame.begins_at;
    const auto [name, what] = problem_of(frame);
    is_deaf_ = name != nullptr;
    if (is_deaf_) {
        records_.add(name, what);
    }
    is_protected_ = options_.has_pins && frame.protects;
    instruction_ = nullptr;
    exchanged_ = 0;
    address_ = 0;
    data_.clear();
}

std::uint8_t SerialFlash::exchange(std::uint8_t sent)
{
    if (options_.is_missing || content_.empty() || is_deaf_) {
        return ones;
    }
    const std::size_t position = exchanged_++;
    if (position == 0) {
        begin_instruction(sent);
        return ones;
    }
    if (instruction_ == nullptr) {
        return ones;
    }
    const std::size_t address_end = instruction_->has_address ? address_bytes() : 0;
    if (position <= address_end) {
        address_ = address_ << 8 | sent;
        return ones;
    }
    if (position <= address_end + instruction_->dummy_bytes) {
        return ones;
    }
    if (instruction_->answer != nullptr) {
        return (this->*instruction_->answer)();
    }
    data_.push_back(sent);
    return ones;
}

void SerialFlash::begin_instruction(std::uint8_t opcode)
{
    const auto found = std::ranges::find(InstructionSet::rows, opcode, &Instruction::opcode);
    if (found == InstructionSet::rows.end()) {
        records_.add("serial-flash-unknown", fmt::format("instruction 0x{:02X}", opcode));
        return;
    }
    if (is_busy() && found->answer != &SerialFlash::answer_status) {
        records_.add("serial-flash-busy", fmt::format("{} while the flash is busy", found->name));
        return;
    }
    instruction_ = &*found;
}

/// A frame that is cut short or goes on after its end is not carried out.
bool SerialFlash::is_whole() const
{
    const std::size_t header = 1 + (instruction_->has_address ? address_bytes() : 0);
    return exchanged_ >= header && instruction_->takes_data == !data_.empty();
}

void SerialFlash::deselect()
{
    const Instruction* const instruction = instruction_;
    if (instruction != nullptr && instruction->act != nullptr) {
        if (is_whole()) {
            (this->*instruction->act)();
        } else {
            records_.add("serial-flash-frame", fmt::format("{} in a frame of {} bytes", instruction->name, exchanged_));
        }
    }
    instruction_ = nullptr;
}

std::uint8_t SerialFlash::answer_status()
{
    const unsigned enabled_bit = options_.busy_bit == 1 ? 0 : 1;
    return static_cast<std::uint8_t>((is_busy() ? 1U : 0U) << options_.busy_bit | (is_write_enabled() ? 1U : 0U)
                                                                                      << enabled_bit);
}

std::uint8_t SerialFlash::answer_identification()
{
    const std::array bytes{manufacturer, memory_type, static_cast<std::uint8_t>(std::countr_zero(options_.bytes))};
    return bytes.at((exchanged_ - 2) % bytes.size());
}

std::uint8_t SerialFlash::answer_content()
{
    return content_[wrapped(address_++)];
}

/// The flash has no lines for the address bits beyond its size.
std::uint32_t SerialFlash::wrapped(std::uint32_t address)
{
    if (address >= content_.size()) {
        records_.add("serial-flash-beyond-end", fmt::format("{} beyond {} bytes", instruction_->name, content_.size()),
                     fmt::format(", at 0x{:08X}", address));
    }
    return address & static_cast<std::uint32_t>(content_.size() - 1);
}

void SerialFlash::enable_writes()
{
    if (is_protected_) {
        records_.add("serial-flash-write-pin", "write enable while IO2, its WP, is low");
        return;
    }
    words_[write_enabled_word] = 1;
}

void SerialFlash::disable_writes()
{
    words_[write_enabled_word] = 0;
}

void SerialFlash::use_long_addresses()
{
    words_[long_addresses_word] = 1;
}

void SerialFlash::use_short_addresses()
{
    words_[long_addresses_word] = 0;
}

bool SerialFlash::may_change(const char* what)
{
    if (!is_write_enabled()) {
        records_.add("serial-flash-not-enabled", fmt::format("{} without write enable", what));
        return false;
    }
    disable_writes(); // every program and erase takes a write enable of its own
    if (options_.is_protected) {
        records_.add("serial-flash-protected", fmt::format("{} at 0x{:08X}", what, address_));
        return false;
    }
    return true;
}

void SerialFlash::start_busy(std::uint64_t nanoseconds)
{
    ready_at_ = now_ + nanoseconds;
}

void SerialFlash::start_erase(std::uint64_t nanoseconds)
{
    start_busy(nanoseconds);
    erased_at_ = ready_at_;
}

void SerialFlash::program()
{
    if (!may_change(instruction_->name)) {
        return;
    }
    const std::uint32_t page_bytes = options_.page_bytes;
    const std::uint32_t first = wrapped(address_);
    const std::uint32_t in_page = first % page_bytes;
    if (in_page + data_.size() > page_bytes) {
        records_.add("serial-flash-page-wrapped",
                     fmt::format("{} bytes at 0x{:08X}, pages have {}", data_.size(), address_, page_bytes));
    }
    std::vector<std::uint8_t> page(page_bytes, ones);
    for (std::size_t i = 0; i < data_.size(); ++i) {
        page[(in_page + i) % page_bytes] = data_[i];
    }
    const std::span<std::uint8_t> cells = content_.subspan(first - in_page, page_bytes);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        // Ones over programmed cells are how a host leaves them alone.
        if (page[i] != ones && (page[i] & ~cells[i]) != 0) {
            records_.add("serial-flash-bits-not-erased", fmt::format("0x{:08X}", first - in_page + i),
                         fmt::format(" gets 0x{:02X} and holds 0x{:02X}", page[i], cells[i]));
        }
        cells[i] &= page[i];
    }
    start_busy(instruction_->duration_ns);
}

void SerialFlash::erase_block()
{
    if (!may_change(instruction_->name)) {
        return;
    }
    const std::uint32_t bytes = instruction_->erase_bytes;
    const std::uint32_t first = wrapped(address_) & ~(bytes - 1);
    std::ranges::fill(content_.subspan(first, bytes), ones);
    start_erase(instruction_->duration_ns);
}

void SerialFlash::erase_chip()
{
    if (!may_change(instruction_->name)) {
        return;
    }
    std::ranges::fill(content_, ones);
    constexpr std::size_t block_bytes = 65536;
    start_erase(content_.size() / block_bytes * timing::serial_flash_erase_64k_ns);
}

} // namespace jlinksim
