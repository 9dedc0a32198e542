#pragma once

#include "jlinkarm_api.h"
#include "sim/bench/bench.h"
#include "sim/jlink/read_cache.h"
#include "sim/rtt/rtt.h"
#include "sim/time/timing.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace jlinksim {

enum class TargetInterface : std::int32_t
{
    jtag = 0, ///< the library's choice until the host makes one
    swd = 1,
};

/// What the host's commands and calls chose for a session; a new session starts with these.
struct SessionSettings
{
    TargetInterface target_interface = TargetInterface::jtag;
    std::uint32_t speed_khz = timing::default_speed_khz;
    std::int32_t reset_type = 0;
    std::string device;
    bool restart_on_close = true;
    bool power_down_on_close = false;
    std::vector<RttSearchRange> rtt_search_ranges; ///< empty: the RAM of the device
    std::set<std::string_view> harmless_commands;  ///< that were given, and recorded once
    std::uint64_t line_went_low_at = 0;            ///< the reset line, in device time
    bool downloads_flash = true; ///< the library's own flash programming, which hosts must switch off here
};

/// The J-Link library's side: which probe is open and how it is set up. What is done to the target stands in the
/// other files of this folder, as functions over a session.
class Session
{
public:
    /// Code of JLINKARM_HasError after the connection to the probe was lost.
    static constexpr std::uint32_t error_probe_lost = 1;

    explicit Session(Bench& bench) : bench_(bench), rtt_(bench.records()) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { drop(); }

    Bench& bench() { return bench_; }

    /// The function being called, for records.
    void call_begins(const char* function) { function_ = function; }
    /// Lets the bench's time, up to now, pass on the chip, too, and RTT do its polls in it.
    void let_chip_live();
    /// The host waits: this much modelled time goes by.
    void pass_time(std::uint64_t nanoseconds);
    /// What the library does on the wire by itself: the chip lives meanwhile.
    void spend_in_background(Chip& chip, std::uint64_t bytes);

    /// Choose the probe of the next open; 0 or -1 when it is not on USB.
    int select(std::uint32_t serial_number);
    /// Open the chosen probe, or without a choice the first one on USB. Null, or what is wrong.
    const char* open(jlinkarm_log_t log, jlinkarm_log_t error);
    void close();
    bool is_open();
    /// The probe of the session; null, and recorded or reported, without one.
    Probe* require_probe();
    /// The chip that the session is connected to; null, and recorded or reported, otherwise.
    Chip* require_chip();
    /// The chip on the probe, connected or not; null when nothing answers there.
    Chip* find_chip();

    int connect();
    bool is_connected();
    /// The target stopped answering.
    void lose_connection() { connected_ = false; }
    /// The supply of this probe's chip changed: a debug connection does not outlive that.
    void supply_changed(std::uint32_t serial_number);

    ReadCache& read_cache() { return read_cache_; }
    /// What was on already when the session began (see leftovers.h), less what was off since.
    std::uint32_t found_on() const { return found_on_; }
    void keep_found_on(std::uint32_t bits) { found_on_ &= bits; }

    Rtt& rtt() { return rtt_; }
    /// Time goes on up to RTT's next poll, which is done.
    void wait_for_rtt_poll();
    /// The host resets the target.
    void reset_rtt(Chip& chip);

    SessionSettings& settings() { return settings_; }
    bool has_coresight() const { return has_coresight_; }
    void set_coresight() { has_coresight_ = true; }

    /// A request to the probe and so many transfers on its target interface.
    void spend(std::uint64_t transfers);
    void spend_block(std::uint64_t bytes);

    std::uint32_t pending_error() const { return pending_error_; }
    void set_pending_error(std::uint32_t code) { pending_error_ = code; }
    void set_log(jlinkarm_log_t log) { log_ = log; }
    void log(std::string_view text) const;
    /// To the session's error handler.
    void report(std::string_view text) const;

    /// The cable is pulled.
    void unplug();

private:
    Probe* find_probe_to_open();
    std::string open_probe();
    std::string reason_not_to_connect();
    void notice_lost_probe();
    void drop();
    void live(Chip& chip, std::uint64_t nanoseconds);
    void poll_rtt(Chip& chip, std::uint64_t now);
    std::uint64_t begin_of_next_poll() const; ///< device time; not while one is under way

    Bench& bench_;
    const char* function_ = "";
    SessionSettings settings_;
    std::optional<std::uint32_t> selected_;
    Probe* probe_ = nullptr;
    std::optional<Probe::Hold> hold_;
    bool lost_ = false; ///< the probe went away under an open session, and nobody closed it yet
    bool connected_ = false;
    bool has_coresight_ = false;
    bool powered_debug_ = false; ///< by connecting; the host may have requested the power besides
    ReadCache read_cache_;
    std::uint32_t found_on_ = 0;
    std::uint32_t pending_error_ = 0;
    std::string open_error_;
    jlinkarm_log_t log_ = nullptr;
    jlinkarm_log_t error_ = nullptr;
    std::uint64_t chip_time_ = 0; ///< device time up to which the chip has lived
    Rtt rtt_;
};

} // namespace jlinksim
