#include "cli/sim/bench.h"

#include "base/path.h"
#include "cli/failure.h"
#include "cli/session/jlink_location.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr const char* bench_hint =
    "--bench FILE or the environment variable JLINKARM_SIM_BENCH names the bench file; without them the built-in bench "
    "is used.";

} // namespace

std::string state_hint(std::uint32_t serial)
{
    return fmt::format("`tessit sim factory-reset --probe {}` gives the chip its factory state; JLINKARM_SIM_STATE "
                       "names another folder for the state, and --fresh does without.",
                       serial);
}

Bench::Bench() : module_{base::path_of(find_simulation())} {}

template <typename Function>
Function Bench::find(const char* name) const
{
    void* const address = module_.find(name);
    if (address == nullptr) {
        throw Failure{ExitCode::failure, fmt::format("the simulated J-Link library has no function {}", name),
                      "Use a command and a simulation of the same version."};
    }
    return reinterpret_cast<Function>(address);
}

/// Without the full stop, as the messages of failures are.
std::string Bench::error_text() const
{
    std::string text = find<decltype(&JLINKSIM_error_text)>("JLINKSIM_error_text")();
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

void Bench::require(int result, const std::string& what, const char* hint) const
{
    if (result < 0) {
        throw Failure{ExitCode::failure, fmt::format("cannot {}: {}", what, error_text()), hint};
    }
}

void Bench::open() const
{
    require(find<decltype(&JLINKSIM_open_bench)>("JLINKSIM_open_bench")(nullptr), "open the simulated bench",
            bench_hint);
}

std::string Bench::path() const
{
    open();
    return find<decltype(&JLINKSIM_bench_path)>("JLINKSIM_bench_path")();
}

std::vector<BenchProbe> Bench::probes() const
{
    const int count = find<decltype(&JLINKSIM_count_probes)>("JLINKSIM_count_probes")();
    require(count, "list the simulated probes", bench_hint);
    const auto describe = find<decltype(&JLINKSIM_describe_probe)>("JLINKSIM_describe_probe");
    std::vector<BenchProbe> probes(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < probes.size(); ++i) {
        if (describe(static_cast<std::uint32_t>(i), &probes[i].description) < 0) {
            probes[i].problem = error_text();
        }
    }
    return probes;
}

void Bench::require_usable(std::uint32_t serial) const
{
    for (const BenchProbe& probe : probes()) {
        if (probe.description.serial_number == serial && !probe.problem.empty()) {
            throw Failure{ExitCode::failure, fmt::format("cannot use probe {}: {}", serial, probe.problem),
                          state_hint(serial)};
        }
    }
}

std::vector<std::string> Bench::records() const
{
    const int count = find<decltype(&JLINKSIM_count_records)>("JLINKSIM_count_records")();
    require(count, "count the simulation's records", bench_hint);
    const auto line = find<decltype(&JLINKSIM_record_line)>("JLINKSIM_record_line");
    std::vector<std::string> records;
    records.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        records.emplace_back(line(static_cast<std::uint32_t>(i)));
    }
    return records;
}

std::string Bench::records_path() const
{
    open();
    return find<decltype(&JLINKSIM_records_path)>("JLINKSIM_records_path")();
}

void Bench::write_example(const std::string& path) const
{
    require(find<decltype(&JLINKSIM_write_example_bench)>("JLINKSIM_write_example_bench")(path.c_str()),
            fmt::format("write the bench file {}", path), "Give another FILE, in a folder that exists.");
}

void Bench::factory_reset(std::uint32_t serial) const
{
    require(find<decltype(&JLINKSIM_factory_reset)>("JLINKSIM_factory_reset")(serial),
            fmt::format("give the chip on probe {} its factory state", serial), show_hint);
}

void Bench::power_cycle(std::uint32_t serial) const
{
    require(find<decltype(&JLINKSIM_power_cycle)>("JLINKSIM_power_cycle")(serial),
            fmt::format("switch the chip on probe {} off and on", serial), show_hint);
}

} // namespace tessit::cli
