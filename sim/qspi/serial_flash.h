#pragma once

#include "sim/qspi/serial_flash_options.h"
#include "sim/witness/records.h"

#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace jlinksim {

/// A serial NOR flash. It sees what a real one sees: a chip select and the bytes of a frame, of which the first is an
/// instruction. Programs and erases begin when the chip select is released, clear bits and set bits respectively, and
/// keep the flash busy; until then it answers nothing but its status.
class SerialFlash
{
public:
    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
    /// Words of its volatile state, which outlasts the process.
    static constexpr std::size_t words = 2;

    SerialFlash(const SerialFlashOptions& options, std::span<std::uint8_t> content, std::span<std::uint32_t> words,
                Records& records);

    void power_on();

    /// How a frame comes over the lines.
    struct Frame
    {
        std::uint64_t begins_at = 0; ///< device time
        std::uint32_t kilohertz = 0;
        unsigned spi_mode = 0;
        std::uint32_t deselected_ns = 0; ///< before it
        unsigned data_lines = 1;
        bool holds = false;    ///< line 3, its HOLD, is low
        bool protects = false; ///< line 2, its WP, is low
    };

    void select(const Frame& frame);
    /// One byte each way. What nobody drives reads as ones.
    std::uint8_t exchange(std::uint8_t sent);
    /// The frame ends, and what it asked for begins.
    void deselect();

    bool is_erasing(std::uint64_t now) const { return now < erased_at_; }
    /// Device time at which the flash is ready, `never` if it never is.
    std::uint64_t ready_at() const;
    /// Bytes of an address that it expects at present, 3 or 4.
    unsigned address_bytes() const;

private:
    friend struct InstructionSet;
    struct Instruction;

    bool is_busy() const { return now_ < ready_at(); }
    bool is_write_enabled() const { return words_[write_enabled_word] != 0; }
    void begin_instruction(std::uint8_t opcode);
    bool is_whole() const;

    std::uint8_t answer_status();
    std::uint8_t answer_identification();
    std::uint8_t answer_content();

    void enable_writes();
    void disable_writes();
    void use_long_addresses();
    void use_short_addresses();
    void program();
    void erase_block();
    void erase_chip();

    /// What of a frame makes it none for this flash; empty names for nothing.
    std::pair<const char*, const char*> problem_of(const Frame& frame) const;
    void start_erase(std::uint64_t nanoseconds);
    bool may_change(const char* what);
    std::uint32_t wrapped(std::uint32_t address);
    void start_busy(std::uint64_t nanoseconds);

    static constexpr std::size_t write_enabled_word = 0;
    static constexpr std::size_t long_addresses_word = 1;

    const SerialFlashOptions& options_;
    std::span<std::uint8_t> content_;
    std::span<std::uint32_t> words_;
    Records& records_;

    std::uint64_t now_ = 0;      ///< device time of the frame
    std::uint64_t ready_at_ = 0; ///< an operation that a process leaves behind is over for the next one
    std::uint64_t erased_at_ = 0;
    bool is_deaf_ = false;      ///< to the frame, which it cannot understand
    bool is_protected_ = false; ///< its WP is low in this frame
    const Instruction* instruction_ = nullptr;
    std::size_t exchanged_ = 0; ///< bytes of the frame so far
    std::uint32_t address_ = 0;
    std::vector<std::uint8_t> data_; ///< sent after the address
};

} // namespace jlinksim
