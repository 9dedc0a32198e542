// How fast the simulated CPU executes firmware: instructions for each second of the host's CPU time.
#include "bench/simulation.h"
#include "jlinkarm_birch_tessit.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace tessit;
using bench::Simulation;

namespace {

constexpr std::uint64_t instructions = 64'000'000;

void require(result_code_t result, const char* what)
{
    bench::require(result == RESULT_OK, what);
}

void start(const Simulation& simulation, const std::string& firmware)
{
    simulation.open_bench("version = \"BIRCH_M1_VA_REV2\"");
    std::ifstream file{std::string{FIRMWARE_FOLDER "/"} + firmware, std::ios::binary};
    const std::vector<char> image{std::istreambuf_iterator<char>{file}, {}};
    simulation.poke(0, image);
    require(TESSIT_open_dll(JLINKSIM_LIBRARY, nullptr, BIRCH_FAMILY), "open the library");
    require(TESSIT_connect_to_emu_with_snr(Simulation::serial_number, 4000), "open the probe");
    require(TESSIT_sys_reset(), "reset the chip");
    require(TESSIT_go(), "let the CPU run");
}

// All of the time the CPU executes one instruction a cycle.
double measure(const Simulation& simulation, const std::string& firmware)
{
    using jlinksim::timing::cpu_hertz;
    using jlinksim::timing::longest_life_per_call_ns;
    start(simulation, firmware);
    const double begin = simulation.seconds();
    const std::clock_t cpu_begin = std::clock();
    while ((simulation.seconds() - begin) * static_cast<double>(cpu_hertz) < static_cast<double>(instructions)) {
        simulation.pass_time(longest_life_per_call_ns);
    }
    const double cpu_seconds = static_cast<double>(std::clock() - cpu_begin) / CLOCKS_PER_SEC;
    const double executed = (simulation.seconds() - begin) * static_cast<double>(cpu_hertz);
    bool is_halted = true;
    require(TESSIT_is_halted(&is_halted), "ask whether the CPU is halted");
    bench::require(!is_halted, "keep the firmware running");
    TESSIT_close_dll();
    return executed / cpu_seconds;
}

} // namespace

int main()
{
    const Simulation simulation;
    fmt::print("{:<16}  {:>30}\n", "firmware", "instructions/s of CPU time");
    for (const char* const firmware : {"counter.bin", "rtt_echo.bin"}) {
        fmt::print("{:<16}  {:>28.1f} M\n", firmware, measure(simulation, firmware) / 1e6);
    }
    return 0;
}
