#pragma once

#include <cstdint>

namespace jlinksim {

/// The host's clock, in nanoseconds from any instant on.
struct HostClock
{
    std::uint64_t (*now)();
    void (*sleep)(std::uint64_t nanoseconds); ///< may take longer
};
extern const HostClock steady_host_clock;

/// The bench's time. Modelled time is the sum of what calls cost and hosts wait, and is the same in every run. In a
/// real-time bench every call lasts as long as it costs, and the host's time between calls counts, too; no other bench
/// ever looks at the host's clock.
class Clock
{
public:
    explicit Clock(bool real_time, HostClock host = steady_host_clock);

    bool is_real_time() const { return real_time_; }

    /// Nanoseconds of modelled time since the bench was opened.
    std::uint64_t modelled() const { return modelled_; }
    void advance(std::uint64_t nanoseconds)
    {
        modelled_ += nanoseconds;
        life_ += nanoseconds;
    }
    /// An answer makes the host wait this long before it asks again. In real time it does so by itself.
    void let_host_wait(std::uint64_t nanoseconds) { modelled_ += real_time_ ? 0 : nanoseconds; }

    /// What chips go by: modelled time, in real-time benches with every gap between calls. While a chip lives through
    /// what has passed already, how far it has come.
    std::uint64_t device() const { return lives_ ? life_ : modelled_ + gaps_; }

    /// A chip lives from an instant on, which may lie before or behind the present.
    class Life
    {
    public:
        Life(Clock& clock, std::uint64_t from) : clock_(clock)
        {
            clock_.lives_ = true;
            clock_.life_ = from;
        }
        ~Life() { clock_.lives_ = false; }
        Life(const Life&) = delete;
        Life& operator=(const Life&) = delete;

    private:
        Clock& clock_;
    };
    void live(std::uint64_t nanoseconds) { life_ += nanoseconds; }

    void call_begins();
    void call_ends();

private:
    void last_as_long_as_it_costs();

    bool real_time_;
    HostClock host_;
    std::uint64_t modelled_ = 0;
    bool lives_ = false;
    std::uint64_t life_ = 0;
    std::uint64_t gaps_ = 0;        ///< between calls, on the host's clock; 0 where it does not count
    std::uint64_t last_call_ = 0;   ///< its end on the host's clock
    std::uint64_t call_began_ = 0;  ///< on the host's clock
    std::uint64_t cost_before_ = 0; ///< modelled time when it began
    std::uint64_t lag_ = 0;         ///< by which calls until now have lasted too long
};

} // namespace jlinksim
