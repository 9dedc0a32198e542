/// Progress of one phase of a longer work: a bar on a terminal, one line at its end otherwise.
#pragma once

#include "cli/terminal/console.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace tessit::cli {

class Progress
{
public:
    /// `total` in units of `unit`: "bytes", "pages". A phase without anything to do is not shown.
    Progress(const Console& console, std::string phase, std::uint64_t total, std::string unit);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// A phase that was not finished leaves its bar where it stopped.
    ~Progress();

    void advance(std::uint64_t amount);
    void finish();

private:
    void draw() const;

    const Console& console_;
    std::string phase_;
    std::string unit_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    bool is_finished_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// "0.53 s"
std::string format_seconds(std::chrono::steady_clock::duration duration);

} // namespace tessit::cli
