#include "sim/bench/probe.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace jlinksim {

Probe::Probe(const ProbeConfig& config, std::filesystem::path folder, Services services)
    : config_(config),
      folder_(std::move(folder)),
      services_(services),
      supply_millivolts_(config.supply_millivolts),
      plugged_(config.plugged)
{
}

Probe::LoadedChip::LoadedChip(const Probe& probe, Services services)
    : state(probe.folder_, *probe.config_.chip->options.model, probe.config_.chip->options.serial_flash.bytes),
      chip(probe.config_.chip->options, state, services)
{
}

void Probe::lock()
{
    std::filesystem::create_directories(folder_);
    lock_ = platform::ProcessLock::try_acquire(lock_file());
    if (!lock_) {
        throw std::runtime_error(fmt::format("Probe {} is in use by another program (process {}). Close its session "
                                             "first.",
                                             serial_number(), platform::ProcessLock::last_holder(lock_file())));
    }
}

void Probe::load_chip()
{
    chip_ = std::make_unique<LoadedChip>(*this, services_);
    if (chip_->state.is_fresh()) {
        fill_chip();
    } else if (!chip_->chip.is_powered_up()) {
        chip_->chip.power_on();
    }
}

void Probe::fill_chip()
{
    const FactoryContent& content = config_.chip->content;
    ChipState& state = chip_->state;
    fill_flash(content, state.flash());
    fill_user_area(content, state.user_area());
    fill_factory_area(chip_->chip.model(), content, serial_number(), state.factory_area());
    std::ranges::fill(state.external_flash(), std::uint8_t{0xFF});
    chip_->chip.power_on();
    state.mark_complete();
}

void Probe::take()
{
    if (holds_ == 0) {
        lock();
        try {
            if (config_.chip) {
                load_chip();
            }
        } catch (...) {
            chip_.reset();
            lock_.reset();
            throw;
        }
    }
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
    return std::filesystem::exists(lock_file()) && !platform::ProcessLock::try_acquire(lock_file());
}

void Probe::factory_reset()
{
    if (!config_.chip) {
        return;
    }
    if (chip_ != nullptr) {
        fill_chip();
        return;
    }
    // The state may be of another chip, which could not be loaded: it goes before the new one is made.
    lock();
    ChipState::remove(folder_);
    lock_.reset();
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
