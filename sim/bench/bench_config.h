#pragma once

#include "sim/chip/chip_options.h"
#include "sim/chip/factory.h"

#include <optional>
#include <string>
#include <vector>

namespace jlinksim {

/// A chip as the bench file gives it.
struct ChipConfig
{
    ChipOptions options;
    FactoryContent content;
};

/// A probe as the bench file gives it.
struct ProbeConfig
{
    std::uint32_t serial_number = 0;
    std::string firmware_text;
    std::uint32_t supply_millivolts = 0;
    bool plugged = true;
    std::string fault_orders; ///< given when the probe is opened
    std::optional<ChipConfig> chip;
};

/// A bench: what stands on it, and where its chips keep their state.
struct BenchConfig
{
    std::string path; ///< empty for the built-in bench
    std::string state_folder;
    bool real_time = false;
    std::vector<ProbeConfig> probes;
};

/// Read a bench file. @throws std::runtime_error "FILE:LINE: reason" for whatever is wrong with it
BenchConfig read_bench_file(const std::string& path);
/// Three probes with different chips. @throws std::runtime_error when there is no folder for their state
BenchConfig built_in_bench();

} // namespace jlinksim
