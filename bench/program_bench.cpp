// `tessit program` of a full 512 KiB image into a blank chip, in the simulation's modelled time, beside its limit:
// every word written once by the flash controller, and the image over SWD once each way. The figures are the same on
// every machine and in every run.
#include "app/application.h"
#include "jlinkarm_sim.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t image_bytes = 512 * 1024;
constexpr double words = image_bytes / 4.0;
/// The flash controller's word write, and an SWD transfer of a word, as the simulation models them.
constexpr double word_write_seconds = 41e-6;
constexpr double swd_clocks_per_word = 46;

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

void write_bench(const std::filesystem::path& path)
{
    std::ofstream{path} << "[[probe]]\nserial = 683000001\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n";
}

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
    const double one_way = words * swd_clocks_per_word / (speed_khz * 1e3);
    return words * word_write_seconds + 2 * one_way;
}

/// Seconds of modelled time that programming took.
double program(std::uint32_t speed_khz, std::uint64_t (*time_ns)())
{
    const TempFolder folder;
    const std::string bench = folder.path() / "bench.toml";
    const std::string image = folder.path() / "image.bin";
    write_bench(bench);
    write_image(image);
    setenv("JLINKARM_SIM_BENCH", bench.c_str(), 1);
    const std::string file = image + "@0x0";
    const std::string speed = std::to_string(speed_khz);
    const std::array arguments{"tessit", "--sim", "--speed", speed.c_str(), "program", file.c_str()};
    if (tessit::cli::run_application(static_cast<int>(arguments.size()), arguments.data()) != 0) {
        std::exit(EXIT_FAILURE);
    }
    return static_cast<double>(time_ns()) / 1e9;
}

} // namespace

int main()
{
    // Held open, so that the modelled time is still there when the command has closed its session.
    void* const simulation = dlopen(JLINKSIM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (simulation == nullptr) {
        fmt::print(stderr, "{}\n", dlerror());
        return EXIT_FAILURE;
    }
    const auto time_ns = reinterpret_cast<decltype(&JLINKSIM_time_ns)>(dlsym(simulation, "JLINKSIM_time_ns"));
    const auto close_bench =
        reinterpret_cast<decltype(&JLINKSIM_close_bench)>(dlsym(simulation, "JLINKSIM_close_bench"));

    std::string table = fmt::format("{:>10} {:>12} {:>12} {:>8}\n", "SWD kHz", "modelled s", "limit s", "ratio");
    for (const std::uint32_t speed_khz : {1000u, 4000u, 8000u}) {
        const double seconds = program(speed_khz, time_ns);
        close_bench();
        const double limit = limit_seconds(speed_khz);
        table += fmt::format("{:>10} {:>12.3f} {:>12.3f} {:>8.4f}\n", speed_khz, seconds, limit, seconds / limit);
    }
    fmt::print("\n`tessit program` of {} KiB, modelled time\n{}", image_bytes / 1024, table);
    return EXIT_SUCCESS;
}
