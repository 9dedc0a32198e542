#pragma once

#include "sim/bench/probe.h"
#include "sim/witness/faults.h"
#include "sim/witness/records.h"
#include "sim/witness/trace.h"

#include <deque>

namespace jlinksim {

/// An open bench: its probes, its time, and what is witnessed on it.
class Bench
{
public:
    explicit Bench(BenchConfig config, HostClock host_clock = steady_host_clock);

    const BenchConfig& config() const { return config_; }
    /// The file that keeps the records of all who used the bench.
    std::string records_path() const { return config_.state_folder + "/records"; }
    std::deque<Probe>& probes() { return probes_; }
    /// Null when the bench has no such probe.
    Probe* find_probe(std::uint32_t serial_number);

    Clock& clock() { return clock_; }
    Records& records() { return records_; }
    Trace& trace() { return trace_; }
    FaultOrders& faults() { return faults_; }

private:
    BenchConfig config_;
    Clock clock_;
    Records records_;
    Trace trace_;
    FaultOrders faults_;
    std::deque<Probe> probes_;
};

/// The bench that a path or, without one, the environment names, with the witnesses that the environment orders.
/// @throws std::runtime_error with what is wrong
std::unique_ptr<Bench> open_bench(const char* path);

} // namespace jlinksim
