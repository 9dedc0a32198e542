// Throughput of RTT in the simulation's modelled time, from firmware that runs, through the library, beside its limit.
// The figures are the same on every machine and in every run.
#include "bench/simulation.h"
#include "jlinkarm_birch_tessit.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace tessit;
using bench::Simulation;

namespace {

constexpr std::uint32_t log_channel = 0;
constexpr std::uint32_t counter_channel = 1;
constexpr std::uint32_t echo_channel = 0; // down

// A poll reads the firmware's control block: its header and the descriptors of three rings, 24 bytes each.
constexpr double control_block_words = 24;

enum class Traffic
{
    stream, // the counter channel as fast as it comes
    echo,   // down to the firmware and up again
};

struct Case
{
    const char* name;
    const char* firmware;
    Traffic traffic;
    std::uint32_t bytes_per_poll; // what the smallest ring of the way holds: whole words of the counter, else size - 1
    std::uint32_t speed_khz;
    std::uint32_t bytes; // to measure
};

constexpr std::array cases{
    Case{"stream, ring of 4096", "rtt_echo.bin", Traffic::stream, 4092, 50000, 2 << 20},
    Case{"stream, ring of 4096", "rtt_echo.bin", Traffic::stream, 4092, 4000, 1 << 20},
    Case{"stream, ring of 16", "rtt_echo_tiny.bin", Traffic::stream, 12, 50000, 1 << 14},
    Case{"stream, ring of 16", "rtt_echo_tiny.bin", Traffic::stream, 12, 4000, 1 << 14},
    Case{"echo, rings of 256 and 1024", "rtt_echo.bin", Traffic::echo, 255, 50000, 1 << 18},
    Case{"echo, rings of 256 and 1024", "rtt_echo.bin", Traffic::echo, 255, 4000, 1 << 17},
    Case{"echo, rings of 16", "rtt_echo_tiny.bin", Traffic::echo, 15, 50000, 1 << 14},
    Case{"echo, rings of 16", "rtt_echo_tiny.bin", Traffic::echo, 15, 4000, 1 << 14},
};

double ways(const Case& each)
{
    return each.traffic == Traffic::echo ? 2 : 1;
}

// A poll moves no more than the ring holds, and lasts the poll period, or longer when this takes longer on the wire.
double limit(const Case& each, double words)
{
    const double wire_seconds = words * bench::swd_clocks_per_word / (each.speed_khz * 1e3);
    return each.bytes_per_poll / std::max(bench::usb_round_trip_seconds, wire_seconds);
}

double words_of_data(const Case& each)
{
    return ways(each) * each.bytes_per_poll / 4.0;
}

// What a poll cannot do without: the control block, the data of each way, and the offset that tells the firmware of
// it.
double words_of_poll(const Case& each)
{
    const double accesses = 1 + 2 * ways(each);
    return control_block_words + words_of_data(each) + ways(each) + accesses * bench::swd_words_around_block;
}

void require(result_code_t result, const char* what)
{
    bench::require(result == RESULT_OK, what);
}

void load(const Simulation& simulation, const std::string& firmware)
{
    std::ifstream file{std::string{FIRMWARE_FOLDER "/"} + firmware, std::ios::binary};
    const std::vector<char> image{std::istreambuf_iterator<char>{file}, {}};
    simulation.poke(0, image);
}

void move_bytes(Traffic traffic, std::uint64_t bytes)
{
    static std::vector<std::uint8_t> buffer(1 << 16);
    const std::uint32_t channel = traffic == Traffic::stream ? counter_channel : log_channel;
    for (std::uint64_t moved = 0; moved < bytes;) {
        std::uint32_t count = 0;
        if (traffic == Traffic::echo) {
            require(TESSIT_rtt_write(echo_channel, buffer.data(), 4096, &count), "write");
        }
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(buffer.size(), bytes - moved));
        require(TESSIT_rtt_read(channel, buffer.data(), wanted, &count), "read");
        moved += count;
    }
}

void wait_for_control_block()
{
    for (bool found = false; !found;) {
        require(TESSIT_rtt_is_control_block_found(&found), "find the control block");
    }
}

// Bytes per second of modelled time.
double measure(const Case& each, const Simulation& simulation)
{
    // So much that the J-Link library's buffers, that of the channel which nobody reads included, are full when the
    // time begins.
    constexpr std::uint64_t warm_up = 1 << 17;
    simulation.open_bench("version = \"BIRCH_M1_VA_REV2\"");
    load(simulation, each.firmware);
    require(TESSIT_open_dll(JLINKSIM_LIBRARY, nullptr, BIRCH_FAMILY), "open the library");
    require(TESSIT_connect_to_emu_with_snr(Simulation::serial_number, each.speed_khz), "connect to the probe");
    require(TESSIT_sys_reset(), "reset the chip");
    require(TESSIT_rtt_start(), "start RTT");
    require(TESSIT_go(), "set the CPU running");
    wait_for_control_block();
    move_bytes(each.traffic, warm_up);
    const double begin = simulation.seconds();
    move_bytes(each.traffic, each.bytes);
    const double seconds = simulation.seconds() - begin;
    require(TESSIT_rtt_stop(), "stop RTT");
    TESSIT_close_dll();
    simulation.close_bench();
    return each.bytes / seconds;
}

} // namespace

int main()
{
    const Simulation simulation;
    fmt::print("{:<28} {:>9} {:>14} {:>14} {:>9} {:>14} {:>9}\n", "RTT", "SWD", "throughput", "poll's limit", "of it",
               "data's limit", "of it");
    for (const Case& each : cases) {
        const double rate = measure(each, simulation);
        const double of_poll = limit(each, words_of_poll(each));
        const double of_data = limit(each, words_of_data(each));
        fmt::print("{:<28} {:>5} kHz {:>9.1f} kB/s {:>9.1f} kB/s {:>8.1f}% {:>9.1f} kB/s {:>8.1f}%\n", each.name,
                   each.speed_khz, rate / 1e3, of_poll / 1e3, 100 * rate / of_poll, of_data / 1e3,
                   100 * rate / of_data);
    }
    return 0;
}
