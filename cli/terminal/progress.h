/// Progress of one phase of a longer work: a bar on a terminal, one line at its end otherwise.
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
    /// A phase that was not finished leaves its bar where it stopped.
    ~Progress();

    void advance(std::uint64_t amount);
    /// All that is going to be done is done, which may be less than was expected.
    void finish();

private:
    void draw() const;

    const Narration narration_;
    std::string phase_;
    std::string unit_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    bool is_finished_ = false;
    Clock::Duration start_;
};

/// "erase    [######........]  43%  4096 bytes" in as many columns as there are, at most; without the bar where there
/// are few.
std::string format_progress(const std::string& phase, std::uint64_t done, std::uint64_t total, const std::string& unit,
                            std::size_t columns);

/// "0.53 s"
std::string format_seconds(Clock::Duration duration);

} // namespace tessit::cli
