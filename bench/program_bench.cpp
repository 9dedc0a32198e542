// `tessit program` in the simulation's modelled time, from all that a chip may hold before, with the flash loader and
// without, beside what no way can do without: the erases and the words' writes, or the data's clocks on SWD, whichever
// takes longer. The figures are the same on every machine and in every run.
#include "bench/simulation.h"
#include "cli/app/application.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <random>
#include <string>
#include <vector>

using namespace tessit;
using namespace tessit::bench;

namespace {

constexpr std::uint32_t page_bytes = 4096;

constexpr double page_words = page_bytes / 4.0;
constexpr double page_write_seconds = page_words * seconds(jlinksim::timing::flash_word_write_ns);
constexpr double page_erase_seconds = seconds(jlinksim::timing::flash_page_erase_ns);
constexpr double erase_all_seconds = seconds(jlinksim::timing::flash_erase_all_ns);

// Pages from the start of the flash on.
struct Case
{
    const char* name;
    std::uint32_t image_pages;
    std::uint32_t changed_pages; // of the image: the rest of it is there already
    std::uint32_t used_pages;    // of the changed ones: hold something else; the rest is blank
};

constexpr std::array cases{
    Case{"blank", 128, 128, 0}, Case{"unchanged", 128, 0, 0},       Case{"one page", 128, 1, 1},
    Case{"half", 128, 64, 64},  Case{"all changed", 128, 128, 128}, Case{"half, rest blank", 64, 64, 64},
};

std::vector<char> noise(std::size_t length, unsigned seed)
{
    std::mt19937 random{seed};
    std::vector<char> bytes(length);
    std::ranges::generate(bytes, [&random] { return static_cast<char>(random()); });
    return bytes;
}

double limit_seconds(const Case& each, std::uint32_t speed_khz)
{
    const double by_pages = each.used_pages * page_erase_seconds + each.changed_pages * page_write_seconds;
    const double at_once = erase_all_seconds + each.image_pages * page_write_seconds;
    const double page_over_swd = page_words * bench::swd_clocks_per_word / (speed_khz * 1e3);
    return std::min(std::max(by_pages, each.changed_pages * page_over_swd),
                    std::max(at_once, each.image_pages * page_over_swd));
}

// Seconds of modelled time that programming took.
double program(const Simulation& simulation, const Case& each, std::uint32_t speed_khz,
               std::initializer_list<const char*> options)
{
    simulation.open_bench("version = \"BIRCH_M1_VA_REV2\"");
    const std::vector<char> image = noise(std::size_t{each.image_pages} * page_bytes, 1);
    std::vector<char> before = image;
    const std::vector<char> other = noise(std::size_t{each.used_pages} * page_bytes, 2);
    std::fill_n(before.begin(), std::size_t{each.changed_pages} * page_bytes, '\xFF');
    std::ranges::copy(other, before.begin());
    simulation.poke(0, before);

    const std::filesystem::path path = simulation.folder() / "image.bin";
    std::ofstream{path, std::ios::binary}.write(image.data(), static_cast<std::streamsize>(image.size()));
    const std::string file = path.string() + "@0x0";
    const std::string speed = std::to_string(speed_khz);
    std::vector<const char*> arguments{"tessit", "--sim", "--speed", speed.c_str(), "program", file.c_str()};
    arguments.insert(arguments.end(), options);
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
    std::string table = fmt::format("{:<18} {:>8} {:>9} {:>11} {:>9} {:>9} {:>7}\n", "before", "SWD kHz", "without",
                                    "no verify", "loader", "limit", "ratio");
    for (const Case& each : cases) {
        for (const std::uint32_t speed_khz : {1000U, 4000U, 8000U, 50000U}) {
            const double without = program(simulation, each, speed_khz, {"--loader", "off"});
            const double unverified = program(simulation, each, speed_khz, {"--no-verify"});
            const double seconds = program(simulation, each, speed_khz, {});
            const double limit = limit_seconds(each, speed_khz);
            table +=
                fmt::format("{:<18} {:>8} {:>9.3f} {:>11.3f} {:>9.3f} {:>9.3f} {:>7}\n", each.name, speed_khz, without,
                            unverified, seconds, limit, limit == 0 ? "" : fmt::format("{:.4f}", seconds / limit));
        }
    }
    fmt::print("\n`tessit program` of 512 KiB (the last case: 256 KiB), modelled seconds\n{}", table);
    return EXIT_SUCCESS;
}
