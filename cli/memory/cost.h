/// What things take, from which the planner chooses: one model for all memories, in seconds.
#pragma once

#include <cstdint>

namespace tessit::cli::cost {

/// A request to the probe and its answer: two microframes of USB high speed (125 us each).
inline constexpr double round_trip = 250e-6;
/// A 32-bit transfer on SWD: request, turnarounds, acknowledge, data and parity.
inline constexpr double clocks_per_word = 46;
/// Control word and address before a block, the pipelined last word after it.
inline constexpr double words_around_block = 3;

/// The chip's flash controller, from the chips' data sheet.
inline constexpr double flash_word_write = 41e-6;
inline constexpr double flash_page_erase = 85e-3;
inline constexpr double flash_erase_all = 169e-3;

/// The flash loader on the chip: to start it and to hear that it has ended, some 20 requests; 17 instructions for four
/// bytes of a checksum, at 64 MHz.
inline constexpr double loader_run = 20 * round_trip;
inline constexpr double loader_checksum_byte = 17 / 4.0 / 64e6;

/// The serial flash: typical values of 3 V NOR flashes' data sheets. Erasing it whole takes what its largest blocks
/// take.
inline constexpr double serial_page_program = 700e-6;
inline constexpr double serial_erase_4k = 45e-3;
inline constexpr double serial_erase_32k = 120e-3;
inline constexpr double serial_erase_64k = 150e-3;

constexpr double swd_word(std::uint32_t speed_khz)
{
    return clocks_per_word / (speed_khz * 1e3);
}

/// A block of so many words through the probe's memory access.
constexpr double access(std::uint32_t speed_khz, double words)
{
    return round_trip + (words + words_around_block) * swd_word(speed_khz);
}

} // namespace tessit::cli::cost
