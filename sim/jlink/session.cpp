#include "jlink/session.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

namespace jlinksim {

void Session::log(std::string_view text) const
{
    if (log_ != nullptr) {
        log_(std::string{text}.c_str());
    }
}

void Session::report(std::string_view text) const
{
    if (error_ != nullptr) {
        error_(std::string{text}.c_str());
    }
}

void Session::spend(std::uint64_t transfers)
{
    const std::uint64_t clocks = transfers * timing::swd_clocks_per_transfer;
    bench_.clock().advance(timing::usb_round_trip_ns + clocks * 1'000'000 / settings_.speed_khz);
}

void Session::spend_block(std::uint64_t bytes)
{
    const std::uint64_t words = (bytes + 3) / 4;
    const std::uint64_t addresses = bytes / timing::address_increment_range;
    spend(words + addresses + timing::swd_transfers_around_block);
}

void Session::let_chip_live()
{
    const std::uint64_t now = bench_.clock().device();
    if (Chip* const chip = find_chip()) {
        chip->elapse(now - chip_time_);
    }
    // What the chip's own doings took is not to be lived again.
    chip_time_ = bench_.clock().device();
}

int Session::select(std::uint32_t serial_number)
{
    const Probe* const probe = bench_.find_probe(serial_number);
    if (probe == nullptr || !probe->is_plugged()) {
        return -1;
    }
    selected_ = serial_number;
    return 0;
}

Probe* Session::find_probe_to_open()
{
    if (selected_) {
        Probe* const probe = bench_.find_probe(*selected_);
        return probe->is_plugged() ? probe : nullptr;
    }
    const auto first = std::ranges::find_if(bench_.probes(), &Probe::is_plugged);
    return first == bench_.probes().end() ? nullptr : &*first;
}

std::string Session::open_probe()
{
    Probe* const probe = find_probe_to_open();
    if (probe == nullptr) {
        return selected_ ? fmt::format("Probe {} is not connected to USB.", *selected_)
                         : std::string{"No probe is connected to USB."};
    }
    try {
        hold_.emplace(*probe);
    } catch (const std::exception& error) {
        return error.what();
    }
    probe_ = probe;
    settings_ = {};
    chip_time_ = bench_.clock().device();
    bench_.clock().advance(timing::usb_round_trips_to_open * timing::usb_round_trip_ns);
    return {};
}

const char* Session::open(jlinkarm_log_t log, jlinkarm_log_t error)
{
    if (is_open()) {
        return nullptr;
    }
    drop();
    log_ = log;
    error_ = error;
    open_error_ = open_probe();
    return open_error_.empty() ? nullptr : open_error_.c_str();
}

void Session::close()
{
    if (!is_open()) {
        drop();
        return;
    }
    spend(0);
    Chip* const chip = find_chip();
    if (chip != nullptr) {
        chip->drive_reset_line(false);
        if (connected_ && settings_.restart_on_close) {
            chip->core().go();
        }
        if (settings_.power_down_on_close) {
            chip->debug_port().request_power(false);
        }
    }
    drop();
}

void Session::drop()
{
    probe_ = nullptr;
    hold_.reset();
    lost_ = false;
    connected_ = false;
    has_coresight_ = false;
}

void Session::unplug()
{
    if (probe_ != nullptr) {
        probe_->set_plugged(false);
    }
}

void Session::notice_lost_probe()
{
    if (probe_ == nullptr || probe_->is_plugged()) {
        return;
    }
    report(fmt::format("Communication with probe {} lost: it is no longer connected to USB.", probe_->serial_number()));
    drop();
    lost_ = true;
}

bool Session::is_open()
{
    notice_lost_probe();
    return probe_ != nullptr;
}

bool Session::is_connected()
{
    return is_open() && connected_;
}

void Session::supply_changed(std::uint32_t serial_number)
{
    if (probe_ != nullptr && probe_->serial_number() == serial_number) {
        lose_connection();
    }
}

Probe* Session::require_probe()
{
    if (is_open()) {
        return probe_;
    }
    if (lost_) {
        pending_error_ = error_probe_lost;
    } else {
        bench_.records().add("no-session", fmt::format("{} without an open session", function_));
    }
    return nullptr;
}

Chip* Session::require_chip()
{
    if (require_probe() == nullptr) {
        return nullptr;
    }
    if (!connected_) {
        bench_.records().add("not-connected", fmt::format("{} without a connection to the target", function_));
        return nullptr;
    }
    return find_chip();
}

Chip* Session::find_chip()
{
    return probe_ != nullptr && probe_->has_supply() ? probe_->chip() : nullptr;
}

std::string Session::reason_not_to_connect()
{
    if (settings_.device.empty()) {
        return "no device is selected (command \"Device = ...\")";
    }
    if (settings_.target_interface != TargetInterface::swd) {
        return "the chip has no JTAG; select SWD";
    }
    Chip* const chip = find_chip();
    if (chip == nullptr) {
        return probe_->has_supply() ? "no chip is connected to the probe" : "the target has no supply";
    }
    if (chip->options().faults.connect_fails) {
        return "the core does not answer";
    }
    if (chip->is_protected()) {
        return "the chip is readback-protected: its debug access is closed";
    }
    return chip->is_held() ? "the chip is held in reset" : "";
}

int Session::connect()
{
    if (require_probe() == nullptr) {
        return -1;
    }
    spend(timing::swd_transfers_to_connect);
    if (const std::string reason = reason_not_to_connect(); !reason.empty()) {
        report(fmt::format("Cannot connect to the target: {}.", reason));
        return -1;
    }
    Chip& chip = *find_chip();
    chip.debug_port().request_power(true);
    chip.core().enable_debug();
    connected_ = true;
    has_coresight_ = true;
    log(fmt::format("Connected to {}.", settings_.device));
    return 0;
}

} // namespace jlinksim
