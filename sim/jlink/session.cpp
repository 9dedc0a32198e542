#include "sim/jlink/session.h"

#include "sim/jlink/leftovers.h"

#include <algorithm>
#include <fmt/core.h>
#include <stdexcept>

namespace jlinksim {
namespace {

std::uint64_t wire_time(std::uint64_t transfers, std::uint32_t speed_khz)
{
    return transfers * timing::swd_clocks_per_transfer * 1'000'000 / speed_khz;
}

std::uint64_t block_transfers(std::uint64_t bytes)
{
    const std::uint64_t words = (bytes + 3) / 4;
    const std::uint64_t addresses = bytes / timing::address_increment_range;
    return words + addresses + timing::swd_transfers_around_block;
}

/// Target memory as RTT's polls reach it.
class RttWire final : public RttMemory
{
public:
    RttWire(Session& session, Chip& chip) : session_(session), chip_(chip) {}

    // Rtt records what it finds in memory, once. The same finding again in every poll would bury the others.
    bool read(std::uint32_t address, std::span<std::uint8_t> data) override
    {
        session_.spend_in_background(chip_, data.size());
        const Records::Mute mute{session_.bench().records()};
        return chip_.debug_read(address, data);
    }
    bool write(std::uint32_t address, std::span<const std::uint8_t> data) override
    {
        session_.spend_in_background(chip_, data.size());
        const Records::Mute mute{session_.bench().records()};
        return chip_.debug_write(address, data);
    }
    bool is_ram(std::uint32_t address, std::uint64_t length) const override { return chip_.is_ram(address, length); }

private:
    Session& session_;
    Chip& chip_;
};

} // namespace

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
    bench_.clock().advance(timing::usb_round_trip_ns + wire_time(transfers, settings_.speed_khz));
}

void Session::spend_block(std::uint64_t bytes)
{
    spend(block_transfers(bytes));
}

void Session::spend_in_background(Chip& chip, std::uint64_t bytes)
{
    live(chip, wire_time(block_transfers(bytes), settings_.speed_khz));
}

void Session::live(Chip& chip, std::uint64_t nanoseconds)
{
    chip.elapse(chip_time_, nanoseconds);
    chip_time_ += nanoseconds;
}

void Session::let_chip_live()
{
    const std::uint64_t now = bench_.clock().device();
    if (Chip* const chip = find_chip()) {
        poll_rtt(*chip, now);
        if (chip_time_ < now) {
            live(*chip, now - chip_time_);
        }
    }
    // A poll that was under way made the call wait.
    if (const std::uint64_t device = bench_.clock().device(); chip_time_ > device) {
        bench_.clock().advance(chip_time_ - device);
    }
    // What the chip's own doings took is not to be lived again.
    chip_time_ = bench_.clock().device();
}

void Session::pass_time(std::uint64_t nanoseconds)
{
    bench_.clock().call_begins();
    let_chip_live();
    while (nanoseconds != 0) {
        // No more at once than a chip can live at once.
        const std::uint64_t part = std::min(nanoseconds, timing::longest_life_per_call_ns);
        bench_.clock().advance(part);
        let_chip_live();
        nanoseconds -= part;
    }
    bench_.clock().call_ends();
}

void Session::poll_rtt(Chip& chip, std::uint64_t now)
{
    if (!connected_ || !rtt_.is_started()) {
        return;
    }
    // The chip executes no more than this in one call; polls in the rest would find nothing new.
    chip_time_ = std::max(chip_time_, now - std::min(now, timing::longest_life_per_call_ns));
    RttWire wire{*this, chip};
    // Before now, not at now: calls that take no time do not make polls that last longer than their period pass.
    while (begin_of_next_poll() < now) {
        if (rtt_.next_poll() > chip_time_) {
            live(chip, rtt_.next_poll() - chip_time_);
        }
        rtt_.poll(wire, chip_time_);
    }
}

std::uint64_t Session::begin_of_next_poll() const
{
    return std::max(rtt_.next_poll(), chip_time_);
}

void Session::wait_for_rtt_poll()
{
    const std::uint64_t now = bench_.clock().device();
    const std::uint64_t begun = begin_of_next_poll() + 1;
    bench_.clock().advance(begun - std::min(now, begun));
    let_chip_live();
}

void Session::reset_rtt(Chip& chip)
{
    RttWire wire{*this, chip};
    rtt_.target_is_reset(wire);
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
    bench_.faults().add_from_text(probe->fault_orders());
    settings_ = {};
    read_cache_.clear();
    const Chip* const chip = find_chip();
    found_on_ = chip == nullptr ? 0 : leftovers_of(*chip);
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
        // What the library powered up to debug the core it powers down; what only the host requested is the host's.
        if (powered_debug_ && settings_.power_down_on_close) {
            chip->debug_port().request_power(false);
        }
        note_leftovers_at_close(*this, *chip);
        if (connected_ && settings_.restart_on_close) {
            chip->core().go();
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
    powered_debug_ = false;
    rtt_.stop();
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
    powered_debug_ = true;
    chip.core().enable_debug();
    enable_trace(chip);
    read_cache_.invalidate();
    read_cache_.set_flash(chip.model().flash_bytes);
    connected_ = true;
    has_coresight_ = true;
    log(fmt::format("Connected to {}.", settings_.device));
    return 0;
}

} // namespace jlinksim
