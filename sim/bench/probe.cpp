#include "sim/bench/probe.h"

#include "base/path.h"
#include "sim/platform/file_error.h"
#include "sim/platform/private_file.h"
#include "sim/state/chip_state.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fmt/core.h>
#include <stdexcept>
#include <thread>
#include <utility>

namespace jlinksim {
namespace {

// One process may be looking at a probe, which is over at once, when another one opens it.
constexpr std::chrono::milliseconds length_of_a_look{1};
constexpr int most_looks_in_the_way = 500;

} // namespace

/// The state comes first: the chip is put together on it.
struct Probe::LoadedChip
{
    LoadedChip(const Probe& probe, Services services);
    ChipState state;
    Chip chip;
};

Probe::Probe(const ProbeConfig& config, std::string folder, Services services)
    : config_(config),
      folder_(std::move(folder)),
      services_(services),
      supply_millivolts_(config.supply_millivolts),
      plugged_(config.plugged)
{
}

Probe::~Probe() = default;

Chip* Probe::chip()
{
    return chip_ == nullptr ? nullptr : &chip_->chip;
}

Probe::LoadedChip::LoadedChip(const Probe& probe, Services services)
    : state(tessit::base::path_of(probe.folder_), *probe.config_.chip->options.model,
            probe.config_.chip->options.serial_flash.bytes),
      chip(probe.config_.chip->options, state, services)
{
}

template <class Work>
auto Probe::use_state(const Work& work) const
{
    try {
        return work();
    } catch (const platform::FileError& error) {
        throw std::runtime_error(
            fmt::format("The simulation cannot use its state folder {}: {}. See that you can write there and that its "
                        "disk has room; the chip's factory state makes damaged files again.",
                        folder_, error.what()));
    }
}

std::optional<platform::ProcessLock> Probe::try_lock(platform::ProcessLock::Purpose purpose) const
{
    for (int attempts_left = most_looks_in_the_way; attempts_left != 0; --attempts_left) {
        std::optional<platform::ProcessLock> lock = platform::ProcessLock::try_acquire(lock_file(), purpose);
        if (lock || platform::ProcessLock::holder(lock_file())) {
            return lock;
        }
        std::this_thread::sleep_for(length_of_a_look);
    }
    return std::nullopt;
}

platform::ProcessLock Probe::lock() const
{
    platform::create_private_folder(tessit::base::path_of(folder_));
    if (std::optional<platform::ProcessLock> lock = try_lock(platform::ProcessLock::Purpose::hold)) {
        return std::move(*lock);
    }
    const std::optional<platform::ProcessLock::Holder> holder = platform::ProcessLock::holder(lock_file());
    throw std::runtime_error(fmt::format("Probe {} is in use by {}. Close its session first.", serial_number(),
                                         holder && holder->process
                                             ? fmt::format("another program (process {})", *holder->process)
                                             : std::string{"another process"}));
}

void Probe::load_chip()
{
    auto loaded = std::make_unique<LoadedChip>(*this, services_);
    if (loaded->state.is_fresh()) {
        fill(*loaded);
    } else if (!loaded->chip.is_powered_up()) {
        loaded->chip.power_on();
    }
    chip_ = std::move(loaded);
}

void Probe::fill(LoadedChip& loaded) const
{
    const FactoryContent& content = config_.chip->content;
    ChipState& state = loaded.state;
    fill_flash(content, state.flash());
    fill_user_area(content, state.user_area());
    fill_factory_area(loaded.chip.model(), content, serial_number(), state.factory_area());
    std::ranges::fill(state.external_flash(), std::uint8_t{0xFF});
    loaded.chip.power_on();
    state.mark_complete();
}

void Probe::take()
{
    if (holds_ != 0) {
        ++holds_;
        return;
    }
    take(use_state([this] { return lock(); }));
}

void Probe::take(platform::ProcessLock lock)
{
    if (config_.chip) {
        use_state([this] { load_chip(); });
    }
    lock_ = std::move(lock);
    ++holds_;
}

void Probe::release()
{
    if (--holds_ == 0) {
        chip_.reset();
        lock_.reset();
    }
}

bool Probe::is_held()
{
    if (holds_ != 0) {
        return true;
    }
    std::error_code ignored;
    return std::filesystem::exists(tessit::base::path_of(lock_file()), ignored) &&
           use_state([this] { return !try_lock(platform::ProcessLock::Purpose::look); });
}

void Probe::look_at_chip(const std::function<void(const Chip&)>& look)
{
    if (!config_.chip) {
        return;
    }
    if (chip_ != nullptr) {
        look(chip_->chip);
        return;
    }
    std::optional<platform::ProcessLock> lock = use_state([this] {
        platform::create_private_folder(tessit::base::path_of(folder_));
        return try_lock(platform::ProcessLock::Purpose::look);
    });
    if (lock) {
        const Hold hold{*this, std::move(*lock)};
        look(chip_->chip);
        return;
    }
    // Its holder has made the state; putting a second chip together on it changes nothing.
    LoadedChip other{*this, services_};
    look(other.chip);
}

void Probe::factory_reset()
{
    if (!config_.chip) {
        return;
    }
    if (chip_ != nullptr) {
        fill(*chip_);
        return;
    }
    // The state may be of another chip, which could not be loaded: it goes before the new one is made.
    use_state([this] {
        const platform::ProcessLock lock = this->lock();
        ChipState::remove(tessit::base::path_of(folder_));
    });
    const Hold hold{*this};
}

void Probe::set_supply(std::uint32_t millivolts)
{
    if (!config_.chip) {
        supply_millivolts_ = millivolts;
        return;
    }
    const Hold hold{*this};
    const bool had_supply = has_supply();
    supply_millivolts_ = millivolts;
    if (!had_supply && has_supply()) {
        chip_->chip.power_on();
    }
}

} // namespace jlinksim
