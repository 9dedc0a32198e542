// Throughput of RTT in the simulation's modelled time, from firmware that runs, through the library, beside its limit.
// The figures are the same on every machine and in every run.
#include "jlinkarm_birch_tessit.h"
#include "jlinkarm_sim.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint32_t serial_number = 684000001;
constexpr std::uint32_t log_channel = 0;
constexpr std::uint32_t counter_channel = 1;
constexpr std::uint32_t echo_channel = 0; // down

/// Time between two polls, and the clocks of a word on SWD, as the simulation models them.
constexpr double poll_period_seconds = 250e-6;
constexpr double swd_clocks_per_word = 46;
/// Control word, address and the pipelined last word of an access.
constexpr double swd_words_around_access = 3;
/// A poll reads the firmware's control block: its header and the descriptors of three rings, 24 bytes each.
constexpr double control_block_words = 24;

enum class Traffic
{
    stream, ///< the counter channel as fast as it comes
    echo,   ///< down to the firmware and up again
};

struct Case
{
    const char* name;
    const char* firmware;
    Traffic traffic;
    std::uint32_t
        bytes_per_poll; ///< what the smallest ring of the way holds: whole words of the counter, else size - 1
    std::uint32_t speed_khz;
    std::uint32_t bytes; ///< to measure
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

/// A poll moves no more than the ring holds. It lasts the poll period, or as long as what it cannot do without is on
/// the wire: the control block, the data of each way, and the offset that tells the firmware of it.
double limit(const Case& each)
{
    const double ways = each.traffic == Traffic::echo ? 2 : 1;
    const double accesses = 1 + 2 * ways;
    const double words =
        control_block_words + ways * (each.bytes_per_poll / 4.0 + 1) + accesses * swd_words_around_access;
    const double wire_seconds = words * swd_clocks_per_word / (each.speed_khz * 1e3);
    return each.bytes_per_poll / std::max(poll_period_seconds, wire_seconds);
}

void require(bool done, const char* what)
{
    if (!done) {
        fmt::print(stderr, "rtt_bench: cannot {}\n", what);
        std::exit(1);
    }
}

void require(result_code_t result, const char* what)
{
    require(result == RESULT_OK, what);
}

/// The simulated J-Link library's control interface; the library loads the same copy.
class Simulation
{
public:
    Simulation() : module_(dlopen(JLINKSIM_LIBRARY, RTLD_NOW | RTLD_LOCAL)) { require(module_ != nullptr, "load it"); }

    void open(const std::filesystem::path& bench) const
    {
        std::ofstream{bench} << "[[probe]]\nserial = " << serial_number
                             << "\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n";
        require(find<decltype(&JLINKSIM_open_bench)>("JLINKSIM_open_bench")(bench.c_str()) == 0, "open the bench");
    }
    void load(const std::string& firmware) const
    {
        std::ifstream file{std::string{FIRMWARE_FOLDER "/"} + firmware, std::ios::binary};
        const std::vector<char> image{std::istreambuf_iterator<char>{file}, {}};
        require(find<decltype(&JLINKSIM_poke)>("JLINKSIM_poke")(serial_number, 0, image.data(),
                                                                static_cast<std::uint32_t>(image.size())) == 0,
                "load the firmware");
    }
    double seconds() const
    {
        return static_cast<double>(find<decltype(&JLINKSIM_time_ns)>("JLINKSIM_time_ns")()) * 1e-9;
    }
    void close() const { find<decltype(&JLINKSIM_close_bench)>("JLINKSIM_close_bench")(); }

private:
    template <class Function>
    Function find(const char* name) const
    {
        void* const address = dlsym(module_, name);
        require(address != nullptr, name);
        return reinterpret_cast<Function>(address);
    }

    void* module_;
};

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

/// Bytes per second of modelled time.
double measure(const Case& each, const Simulation& simulation, const std::filesystem::path& folder)
{
    // So much that the J-Link library's buffers, that of the channel which nobody reads included, are full when the
    // time begins.
    constexpr std::uint64_t warm_up = 1 << 17;
    simulation.open(folder / "bench.toml");
    simulation.load(each.firmware);
    require(TESSIT_open_dll(JLINKSIM_LIBRARY, nullptr, BIRCH_FAMILY), "open the library");
    require(TESSIT_connect_to_emu_with_snr(serial_number, each.speed_khz), "connect to the probe");
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
    simulation.close();
    return each.bytes / seconds;
}

} // namespace

int main()
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / fmt::format("tessit-rtt-bench-{}", getpid());
    std::filesystem::create_directories(folder);
    const Simulation simulation;
    fmt::print("{:<28} {:>9} {:>14} {:>14} {:>9}\n", "RTT", "SWD", "throughput", "limit", "of limit");
    for (const Case& each : cases) {
        const double rate = measure(each, simulation, folder);
        fmt::print("{:<28} {:>5} kHz {:>9.1f} kB/s {:>9.1f} kB/s {:>8.1f}%\n", each.name, each.speed_khz, rate / 1e3,
                   limit(each) / 1e3, 100 * rate / limit(each));
    }
    std::filesystem::remove_all(folder);
    return 0;
}
