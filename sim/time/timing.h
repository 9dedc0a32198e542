#pragma once

#include <cstdint>

/// What things take. Every figure of the modelled time stands here, with where it comes from.
namespace jlinksim::timing {

/// A request to the probe and its answer: two microframes of USB high speed (125 us each) at best.
inline constexpr std::uint64_t usb_round_trip_ns = 250'000;
/// Opening a session: some twenty requests (version, capabilities, configuration).
inline constexpr std::uint64_t usb_round_trips_to_open = 20;

/// One 32-bit transfer on SWD: 8 request bits, turnaround, 3 acknowledge bits, turnaround, 32 data bits and parity.
inline constexpr std::uint64_t swd_clocks_per_transfer = 46;
/// An access port keeps the upper address bits while it counts up: the address is sent again every 1 KiB.
inline constexpr std::uint32_t address_increment_range = 1024;
/// Before a block: control word and address; after a block read: the pipelined last word.
inline constexpr std::uint64_t swd_transfers_around_block = 3;
/// Line reset, identification, power-up and core identification while connecting.
inline constexpr std::uint64_t swd_transfers_to_connect = 64;
/// A CPU register takes a selector write, a ready poll and the data.
inline constexpr std::uint64_t swd_transfers_per_cpu_register = 6;

/// Shortest pulse on the reset line that a board's capacitor and pull-up (100 nF, 10 kOhm) let through: ten times 1 ms.
inline constexpr std::uint64_t shortest_reset_pulse_ns = 10'000'000;

/// Speed in force until JLINKARM_SetSpeed chooses another, and its bounds.
inline constexpr std::uint32_t default_speed_khz = 4000;
inline constexpr std::uint32_t lowest_speed_khz = 5;
inline constexpr std::uint32_t highest_speed_khz = 50'000;

/// The flash controller's times, from the chips' data sheet.
inline constexpr std::uint64_t flash_word_write_ns = 41'000;
inline constexpr std::uint64_t flash_page_erase_ns = 85'000'000;
inline constexpr std::uint64_t flash_erase_all_ns = 169'000'000;
/// A CPU that asks whether the flash controller is ready is told no after at most this long, or when it is ready: a
/// loop that waits costs modelled time and hardly any of the host's.
inline constexpr std::uint64_t longest_ready_wait_ns = 1'000'000;

/// The QSPI peripheral: the clock that it divides for its lines, and its start, from the chips' data sheet.
inline constexpr std::uint64_t qspi_clock_hertz = 32'000'000;
inline constexpr std::uint64_t qspi_activation_ns = 10'000;
/// The serial flash behind it: typical values of 3 V NOR flashes' data sheets. A chip erase takes what erasing its
/// 64 KiB blocks takes.
inline constexpr std::uint64_t serial_flash_page_program_ns = 700'000;
inline constexpr std::uint64_t serial_flash_erase_4k_ns = 45'000'000;
inline constexpr std::uint64_t serial_flash_erase_32k_ns = 120'000'000;
inline constexpr std::uint64_t serial_flash_erase_64k_ns = 150'000'000;

/// What a host waits between two looks at a CTRL-AP erase-all in progress. The library sleeps as long before each of
/// its looks, and gives up after 20; polling without a wait, it would have used them up long before an erase is over.
inline constexpr std::uint64_t erase_all_poll_interval_ns = 500'000'000;

/// The CPU's clock, one instruction a cycle.
inline constexpr std::uint64_t cpu_hertz = 64'000'000;
/// Executed at most in one J-Link call, about a tenth of a second of the host's time: a call must not hang because the
/// CPU has much time to catch up with.
inline constexpr std::uint64_t most_instructions_per_call = 1'000'000;
inline constexpr std::uint64_t longest_life_per_call_ns = most_instructions_per_call * 1'000'000'000 / cpu_hertz;

/// RTT's polls are requests to the probe, too: the next one cannot begin before the answer to the last one.
inline constexpr std::uint64_t rtt_poll_period_ns = usb_round_trip_ns;
/// For so long an RTT call that has nothing to do lets the target run. On hardware it returns at once, and the target
/// runs all the same; here time would stand still for a host that only asks again.
inline constexpr std::uint64_t rtt_longest_wait_ns = 4 * rtt_poll_period_ns;

} // namespace jlinksim::timing
