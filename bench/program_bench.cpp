// `tessit program` of a full 512 KiB image into a blank chip, in the simulation's modelled time, beside its limit:
// every word written once by the flash controller, and the image over SWD once each way. The figures are the same on
// every machine and in every run.
#include "bench/simulation.h"
#include "cli/app/application.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

using namespace tessit;
using namespace tessit::bench;

namespace {

constexpr std::uint32_t image_bytes = 512 * 1024;
constexpr double words = image_bytes / 4.0;
constexpr double word_write_seconds = seconds(jlinksim::timing::flash_word_write_ns);

void write_image(const std::filesystem::path& path)
{
    std::mt19937 random{1};
    std::vector<char> bytes(image_bytes);
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    std::ofstream{path, std::ios::binary}.write(bytes.data(), image_bytes);
}

double limit_seconds(std::uint32_t speed_khz)
{
    const double one_way = words * bench::swd_clocks_per_word / (speed_khz * 1e3);
    return words * word_write_seconds + 2 * one_way;
}

// Seconds of modelled time that programming took.
double program(const Simulation& simulation, std::uint32_t speed_khz)
{
    simulation.open_bench("version = \"BIRCH_M1_VA_REV2\"");
    const std::string image = simulation.folder() / "image.bin";
    write_image(image);
    const std::string file = image + "@0x0";
    const std::string speed = std::to_string(speed_khz);
    const std::array arguments{"tessit", "--sim", "--speed", speed.c_str(), "program", file.c_str()};
    const int code = cli::run_application(static_cast<int>(arguments.size()), arguments.data());
    require(code == 0, "program the image");
    const double seconds = simulation.seconds();
    simulation.close_bench();
    return seconds;
}

} // namespace

int main()
{
    const Simulation simulation;
    std::string table = fmt::format("{:>10} {:>12} {:>12} {:>8}\n", "SWD kHz", "modelled s", "limit s", "ratio");
    for (const std::uint32_t speed_khz : {1000U, 4000U, 8000U}) {
        const double seconds = program(simulation, speed_khz);
        const double limit = limit_seconds(speed_khz);
        table += fmt::format("{:>10} {:>12.3f} {:>12.3f} {:>8.4f}\n", speed_khz, seconds, limit, seconds / limit);
    }
    fmt::print("\n`tessit program` of {} KiB, modelled time\n{}", image_bytes / 1024, table);
    return EXIT_SUCCESS;
}
