// Reading and writing external flash in the simulation's modelled time, beside what sets its limit: the accesses that
// the probe makes for each step of 4 KiB, and for a write the flash's own programming besides. The figures are the same
// on every machine and in every run.
#include "jlinkarm_birch_tessit.h"
#include "jlinkarm_sim.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t bytes = 1024 * 1024;
constexpr double step_bytes = 4096;
constexpr double steps = bytes / step_bytes;
constexpr double pages_per_step = step_bytes / 256;

/// The simulation's model: a request and its answer over USB, a word's transfer over SWD, and what is transferred
/// around a block; a page program of the flash, and the peripheral's clock at its highest.
constexpr double round_trip_seconds = 250e-6;
constexpr double swd_clocks_per_word = 46;
constexpr double transfers_around_block = 3;
constexpr double page_program_seconds = 700e-6;
constexpr double qspi_hertz = 32e6;

constexpr qspi_init_config_t four_lines = {
    .read_mode = READ_MODE_CODE_4,
    .write_mode = WRITE_MODE_CODE_3,
    .address_mode = ADDRESS_MODE_24BIT,
    .frequency = FREQ_DIV1,
    .spi_mode = SPI_MODE_CODE_0,
    .sck_delay = 5,
    .custom_instruction_io2_level = LEVEL_HIGH,
    .custom_instruction_io3_level = LEVEL_HIGH,
    .CSN_pin = 17,
    .CSN_port = 0,
    .CLK_pin = 19,
    .CLK_port = 0,
    .DIO0_pin = 20,
    .DIO0_port = 0,
    .DIO1_pin = 21,
    .DIO1_port = 0,
    .DIO2_pin = 22,
    .DIO2_port = 0,
    .DIO3_pin = 23,
    .DIO3_port = 0,
    .WIP_index = 0,
    .PPSize = PP_SIZE_CODE_0,
};

void require(result_code_t code)
{
    if (code != RESULT_OK) {
        fmt::print(stderr, "result {}\n", static_cast<int>(code));
        std::exit(EXIT_FAILURE);
    }
}

class TempFolder
{
public:
    TempFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "tessit-bench-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            std::abort();
        }
        path_ = name;
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// A block of so many bytes through the probe.
double access_seconds(std::uint32_t speed_khz, double block_bytes)
{
    const double transfers = block_bytes / 4 + static_cast<int>(block_bytes / 1024) + transfers_around_block;
    return round_trip_seconds + transfers * swd_clocks_per_word / (speed_khz * 1e3);
}

/// Five register writes, at least one look at the ready event, and the bytes: what a step cannot do without.
double accesses_of_step(std::uint32_t speed_khz, double ready_after_seconds)
{
    const double word = access_seconds(speed_khz, 4);
    return 5 * word + std::max(word, ready_after_seconds) + access_seconds(speed_khz, step_bytes);
}

/// The bits of a page on four lines, its instructions on one.
double page_on_lines()
{
    constexpr double clocks = 8 + 8 + 24 / 4.0 + 256 * 8 / 4.0;
    return clocks / qspi_hertz;
}

/// From the start of a write to its ready event. The last page is programmed while the next step begins.
double write_seconds()
{
    return pages_per_step * page_on_lines() + (pages_per_step - 1) * page_program_seconds;
}

class Simulation
{
public:
    Simulation() : library_(dlopen(JLINKSIM_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        if (library_ == nullptr) {
            fmt::print(stderr, "{}\n", dlerror());
            std::exit(EXIT_FAILURE);
        }
    }

    double seconds() const
    {
        return static_cast<double>(
                   reinterpret_cast<decltype(&JLINKSIM_time_ns)>(dlsym(library_, "JLINKSIM_time_ns"))()) /
               1e9;
    }
    void close() const { reinterpret_cast<decltype(&JLINKSIM_close_bench)>(dlsym(library_, "JLINKSIM_close_bench"))(); }

private:
    void* library_;
};

struct Took
{
    double write;
    double read;
};

Took measure(const Simulation& simulation, std::uint32_t speed_khz)
{
    const TempFolder folder;
    const std::string bench = folder.path() / "bench.toml";
    std::ofstream{bench} << "[[probe]]\nserial = 683000001\n[probe.chip]\nversion = \"BIRCH_M2_VA_REV1\"\n"
                            "external_flash = { size = 1048576 }\n";
    setenv("JLINKARM_SIM_BENCH", bench.c_str(), 1);
    require(TESSIT_open_dll(JLINKSIM_LIBRARY, nullptr, BIRCH_FAMILY));
    require(TESSIT_connect_to_emu_with_snr(683000001, speed_khz));
    require(TESSIT_qspi_init(0, &four_lines));

    std::vector<std::uint8_t> data(bytes, 0x5A);
    const double start = simulation.seconds();
    require(TESSIT_qspi_write(0, data.data(), bytes));
    const double written = simulation.seconds();
    require(TESSIT_qspi_read(0, data.data(), bytes));
    const double read = simulation.seconds();

    require(TESSIT_qspi_uninit());
    TESSIT_close_dll();
    simulation.close();
    return {written - start, read - written};
}

std::string row(std::uint32_t speed_khz, const char* what, double seconds, double accesses, double limit)
{
    constexpr double kib = bytes / 1024.0;
    return fmt::format("{:>8} {:>6} {:>11.0f} {:>14.0f} {:>13.0f} {:>8.3f}\n", speed_khz, what, kib / seconds,
                       kib / (accesses * steps), kib / (limit * steps), seconds / (limit * steps));
}

} // namespace

int main()
{
    const Simulation simulation; // held open, so that the modelled time is still there between the sessions
    std::string table = fmt::format("{:>8} {:>6} {:>11} {:>14} {:>13} {:>8}\n", "SWD kHz", "", "KiB/s",
                                    "accesses KiB/s", "limit KiB/s", "ratio");
    for (const std::uint32_t speed_khz : {1000U, 4000U, 8000U}) {
        const Took took = measure(simulation, speed_khz);
        const double accesses = accesses_of_step(speed_khz, 0);
        table += row(speed_khz, "read", took.read, accesses, accesses);
        table += row(speed_khz, "write", took.write, accesses, accesses_of_step(speed_khz, write_seconds()));
    }
    fmt::print("{} KiB of external flash, four lines at 32 MHz, modelled time\n{}", bytes / 1024, table);
    return EXIT_SUCCESS;
}
