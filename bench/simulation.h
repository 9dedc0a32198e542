/// The simulated J-Link library for benchmarks: one probe with one chip at a time, and the modelled time.
#pragma once

#include "base/module.h"
#include "jlinkarm_sim.h"
#include "sim/time/timing.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <span>
#include <string>
#include <string_view>

namespace tessit::bench {

/// Ends the benchmark with what could not be done.
inline void require(bool done, std::string_view what)
{
    if (!done) {
        fmt::print(stderr, "cannot {}\n", what);
        std::exit(EXIT_FAILURE);
    }
}

/// Figures of the simulation's model, from which limits are calculated.
constexpr double seconds(std::uint64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) * 1e-9;
}
inline constexpr double usb_round_trip_seconds = seconds(jlinksim::timing::usb_round_trip_ns);
inline constexpr double swd_clocks_per_word = jlinksim::timing::swd_clocks_per_transfer;
inline constexpr double swd_words_around_block = jlinksim::timing::swd_transfers_around_block;

/// Holds the library open, so that the modelled time is still there between the sessions. Who loads it by path gets the
/// same copy.
class Simulation
{
public:
    static constexpr std::uint32_t serial_number = 683000001;
    Simulation() : library_(base::load_module(JLINKSIM_LIBRARY))
    {
        require(library_ != nullptr, "load " JLINKSIM_LIBRARY);
        std::string folder = (std::filesystem::temp_directory_path() / "tessit-bench-XXXXXX").string();
        require(mkdtemp(folder.data()) != nullptr, "make a folder for the bench");
        folder_ = folder;
    }
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;
    ~Simulation() { std::filesystem::remove_all(folder_); }

    const std::filesystem::path& folder() const { return folder_; }

    /// A bench with a chip as it was delivered. The modelled time begins. `chip` is the lines of its table.
    void open_bench(std::string_view chip) const
    {
        const std::filesystem::path bench = folder_ / "bench.toml";
        std::filesystem::remove_all(bench.string() + ".state");
        std::ofstream{bench} << fmt::format("[[probe]]\nserial = {}\n[probe.chip]\n{}\n", serial_number, chip);
        setenv("JLINKARM_SIM_BENCH", bench.c_str(), 1); // NOLINT(concurrency-mt-unsafe): one thread
        require(find<decltype(&JLINKSIM_open_bench)>("JLINKSIM_open_bench")(nullptr) == 0, "open the bench");
    }
    void close_bench() const { find<decltype(&JLINKSIM_close_bench)>("JLINKSIM_close_bench")(); }

    /// Into the chip's memory, without its knowing.
    void poke(std::uint32_t address, std::span<const char> bytes) const
    {
        require(find<decltype(&JLINKSIM_poke)>("JLINKSIM_poke")(serial_number, address, bytes.data(),
                                                                static_cast<std::uint32_t>(bytes.size())) == 0,
                "write the chip's memory");
    }
    /// At most as much as one call lets the CPU execute.
    void pass_time(std::uint64_t nanoseconds) const
    {
        require(find<decltype(&JLINKSIM_pass_time)>("JLINKSIM_pass_time")(nanoseconds) == 0, "let time pass");
    }
    double seconds() const { return bench::seconds(find<decltype(&JLINKSIM_time_ns)>("JLINKSIM_time_ns")()); }

private:
    template <class Function>
    Function find(const char* name) const
    {
        void* const address = base::find_function(library_, name);
        require(address != nullptr, name);
        return reinterpret_cast<Function>(address);
    }

    base::Module library_;
    std::filesystem::path folder_;
};

} // namespace tessit::bench
