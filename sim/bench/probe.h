#pragma once

#include "sim/bench/bench_config.h"
#include "sim/chip/chip.h"
#include "sim/platform/process_lock.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace jlinksim {

/// A probe of the bench and the chip that is wired to it. The chip's state is in this process only while it holds the
/// probe; one process at a time does.
class Probe
{
public:
    /// Below this the chip does not answer, and when the supply comes back above it the chip starts again.
    static constexpr std::uint32_t lowest_supply_millivolts = 1500;

    /// @param folder of this probe's state; created when first held
    Probe(const ProbeConfig& config, std::string folder, Services services);
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;
    ~Probe();

    /// Keeps the probe held while it lives. Holds of one process nest.
    class Hold
    {
    public:
        /// @throws std::runtime_error when another process holds the probe, or its state cannot be used
        explicit Hold(Probe& probe) : probe_(&probe) { probe.take(); }
        Hold(Probe& probe, platform::ProcessLock lock) : probe_(&probe) { probe.take(std::move(lock)); }
        Hold(Hold&& other) noexcept : probe_(std::exchange(other.probe_, nullptr)) {}
        Hold& operator=(Hold&& other) noexcept
        {
            std::swap(probe_, other.probe_);
            return *this;
        }
        ~Hold()
        {
            if (probe_ != nullptr) {
                probe_->release();
            }
        }

    private:
        Probe* probe_;
    };

    /// Whether any process, this one included, holds the probe.
    bool is_held();
    /// The chip on its bench; null for a probe without one. Only while the probe is held.
    Chip* chip();
    /// Look at the chip without holding the probe: also while another process does.
    void look_at_chip(const std::function<void(const Chip&)>& look);

    /// The chip as the bench gives it, also when the kept state is of another chip.
    /// @throws std::runtime_error when another process holds the probe
    void factory_reset();
    /// A supply that comes back starts the chip again.
    void set_supply(std::uint32_t millivolts);

    const ProbeConfig& config() const { return config_; }
    const std::string& fault_orders() const { return config_.fault_orders; }
    std::uint32_t serial_number() const { return config_.serial_number; }
    const std::string& folder() const { return folder_; }
    std::uint32_t supply_millivolts() const { return supply_millivolts_; }
    bool has_supply() const { return supply_millivolts_ >= lowest_supply_millivolts; }
    bool is_plugged() const { return plugged_; }
    void set_plugged(bool plugged) { plugged_ = plugged; }

private:
    struct LoadedChip;

    void take();
    void take(platform::ProcessLock lock);
    void release();
    /// Does something with the state's files; tells what became of it when one of them cannot be used.
    template <class Work>
    auto use_state(const Work& work) const;
    /// Null when another process holds the probe. One that only looks at it is waited for.
    std::optional<platform::ProcessLock> try_lock(platform::ProcessLock::Purpose purpose) const;
    platform::ProcessLock lock() const;
    void load_chip();
    void fill(LoadedChip& loaded) const;
    std::string lock_file() const { return folder_ + "/lock"; }

    const ProbeConfig& config_;
    std::string folder_;
    Services services_;
    std::uint32_t supply_millivolts_;
    bool plugged_;
    unsigned holds_ = 0;
    std::optional<platform::ProcessLock> lock_;
    std::unique_ptr<LoadedChip> chip_;
};

} // namespace jlinksim
