#pragma once

#include "sim/qspi/serial_flash_options.h"
#include "sim/witness/records.h"

#include <cstdint>
#include <limits>
#include <span>
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

    /// A frame begins at this device time.
    void select(std::uint64_t now);
    /// One byte each way. What nobody drives reads as ones.
    std::uint8_t exchange(std::uint8_t sent);
    /// The frame ends, and what it asked for begins.
    void deselect();

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
    const Instruction* instruction_ = nullptr;
    std::size_t exchanged_ = 0; ///< bytes of the frame so far
    std::uint32_t address_ = 0;
    std::vector<std::uint8_t> data_; ///< sent after the address
};

} // namespace jlinksim
