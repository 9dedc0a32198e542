// Reading and writing external flash in the simulation's modelled time, beside what sets its limit: the accesses that
// the probe makes for each step of 4 KiB, and for a write the flash's own programming besides. The figures are the same
// on every machine and in every run.
#include "bench/simulation.h"
#include "jlinkarm_birch_tessit.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using namespace tessit;
using bench::Simulation;

namespace {

constexpr std::uint32_t bytes = 1024 * 1024;
constexpr double step_bytes = 4096;
constexpr double steps = bytes / step_bytes;
constexpr double pages_per_step = step_bytes / 256;

// A page program of the flash, and the peripheral's clock at its highest, as the simulation models them.
constexpr double page_program_seconds = bench::seconds(jlinksim::timing::serial_flash_page_program_ns);
constexpr double qspi_hertz = jlinksim::timing::qspi_clock_hertz;

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
    bench::require(code == RESULT_OK, fmt::format("go on: result {}", static_cast<int>(code)));
}

// A block of so many bytes through the probe.
double access_seconds(std::uint32_t speed_khz, double block_bytes)
{
    const double transfers = block_bytes / 4 + static_cast<int>(block_bytes / 1024) + bench::swd_words_around_block;
    return bench::usb_round_trip_seconds + transfers * bench::swd_clocks_per_word / (speed_khz * 1e3);
}

// Five register writes, at least one look at the ready event, and the bytes: what a step cannot do without.
double accesses_of_step(std::uint32_t speed_khz, double ready_after_seconds)
{
    const double word = access_seconds(speed_khz, 4);
    return 5 * word + std::max(word, ready_after_seconds) + access_seconds(speed_khz, step_bytes);
}

// The bits of a page on four lines, its instructions on one.
double page_on_lines()
{
    constexpr double clocks = 8 + 8 + 24 / 4.0 + 256 * 8 / 4.0;
    return clocks / qspi_hertz;
}

// From the start of a write to its ready event. The last page is programmed while the next step begins.
double write_seconds()
{
    return pages_per_step * page_on_lines() + (pages_per_step - 1) * page_program_seconds;
}

struct Took
{
    double write;
    double read;
};

Took measure(const Simulation& simulation, std::uint32_t speed_khz)
{
    simulation.open_bench("version = \"BIRCH_M2_VA_REV1\"\nexternal_flash = { size = 1048576 }");
    require(TESSIT_open_dll(JLINKSIM_LIBRARY, nullptr, BIRCH_FAMILY));
    require(TESSIT_connect_to_emu_with_snr(Simulation::serial_number, speed_khz));
    require(TESSIT_qspi_init(0, &four_lines));

    std::vector<std::uint8_t> data(bytes, 0x5A);
    const double start = simulation.seconds();
    require(TESSIT_qspi_write(0, data.data(), bytes));
    const double written = simulation.seconds();
    require(TESSIT_qspi_read(0, data.data(), bytes));
    const double read = simulation.seconds();

    require(TESSIT_qspi_uninit());
    TESSIT_close_dll();
    simulation.close_bench();
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
    const Simulation simulation;
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
