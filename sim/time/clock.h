#pragma once

#include <cstdint>

namespace jlinksim {

/// Nanoseconds on the host's clock, from any instant on.
using HostTime = std::uint64_t (*)();
std::uint64_t steady_host_time();

/// The bench's time. Modelled time is the sum of what calls cost and hosts wait, and is the same in every run. A
/// real-time bench counts the host's time between calls, too; no other bench ever looks at the host's clock.
class Clock
{
public:
    explicit Clock(bool real_time, HostTime host_time = steady_host_time);

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
    bool real_time_;
    HostTime host_time_;
    std::uint64_t modelled_ = 0;
    bool lives_ = false;
    std::uint64_t life_ = 0;
    std::uint64_t gaps_ = 0;      ///< between calls, on the host's clock; 0 where it does not count
    std::uint64_t last_call_ = 0; ///< its end on the host's clock
};

} // namespace jlinksim
