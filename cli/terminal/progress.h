/// Progress of one phase of a longer work: a bar on a terminal, one line at its end otherwise, or events.
#pragma once

#include "cli/terminal/narration.h"

#include <cstdint>
#include <string>

namespace tessit::cli {

class Progress
{
public:
    /// `total` in units of `unit`: "bytes", "pages". A phase without anything to do is not shown.
    Progress(const Narration& narration, std::string phase, std::uint64_t total, std::string unit);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// A phase that was not finished leaves its bar where it stopped. The console knows how far it came.
    ~Progress();

    void advance(std::uint64_t amount);
    /// All that is going to be done is done, which may be less than was expected.
    void finish();

private:
    void draw() const;
    void tell(bool is_finished) const;

    const Narration narration_;
    Phase phase_;
    bool is_finished_ = false;
    Clock::Duration start_;
};

/// "erase    [######........]  43%  4096 bytes" in as many columns as there are, at most; without the bar where there
/// are few. Of a phase that has something to do.
std::string format_progress(const Phase& phase, std::size_t columns);

/// "erase    4096 bytes in 90.00 ms"; without a time where none has passed.
std::string format_finished(const Phase& phase, Clock::Duration elapsed);

/// "0.53 s", below a tenth of a second "1.24 ms"
std::string format_seconds(Clock::Duration duration);

} // namespace tessit::cli
