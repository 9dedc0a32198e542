#include "sim/bench/bench.h"

#include "base/environment.h"

#include <algorithm>
#include <fmt/core.h>
#include <string>

namespace jlinksim {
namespace {

using tessit::base::environment; // of which an empty one means the same as none

BenchConfig read_config(const char* path)
{
    const std::string file = path != nullptr ? std::string{path} : environment("JLINKARM_SIM_BENCH");
    BenchConfig config = file.empty() ? built_in_bench() : read_bench_file(file);
    const std::string real_time = environment("JLINKARM_SIM_REALTIME");
    if (!real_time.empty() && real_time != "0" && real_time != "1") {
        throw std::runtime_error(fmt::format("JLINKARM_SIM_REALTIME is '{}'; expected 0 or 1.", real_time));
    }
    if (!real_time.empty()) {
        config.real_time = real_time == "1";
    }
    return config;
}

} // namespace

Bench::Bench(BenchConfig config, HostClock host_clock)
    : config_(std::move(config)), clock_(config_.real_time, host_clock)
{
    for (const ProbeConfig& probe : config_.probes) {
        probes_.emplace_back(probe, fmt::format("{}/{}", config_.state_folder, probe.serial_number),
                             Services{clock_, records_});
    }
}

Probe* Bench::find_probe(std::uint32_t serial_number)
{
    const auto found = std::ranges::find(probes_, serial_number, &Probe::serial_number);
    return found == probes_.end() ? nullptr : &*found;
}

std::unique_ptr<Bench> open_bench(const char* path)
{
    auto bench = std::make_unique<Bench>(read_config(path));
    if (const std::string file = environment("JLINKARM_SIM_TRACE"); !file.empty()) {
        bench->trace().append_to(file);
    }
    if (const std::string file = environment("JLINKARM_SIM_RECORDS"); !file.empty()) {
        bench->records().append_to(file);
    }
    bench->records().keep_in(bench->records_path());
    bench->faults().add_from_text(environment("JLINKARM_SIM_FAULTS"));
    return bench;
}

} // namespace jlinksim
