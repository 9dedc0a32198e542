#pragma once

#include "sim/witness/line_file.h"

#include <string>
#include <vector>

namespace jlinksim {

/// The J-Link calls, a line each: into a list for tests, and into a file.
class Trace
{
public:
    /// @throws std::runtime_error when the file cannot be opened
    void append_to(const std::string& path) { file_.open(path, "JLINKARM_SIM_TRACE"); }
    void start();
    void stop() { listing_ = false; }

    /// Formatting a line costs more than many of the calls: ask first.
    bool wanted() const { return listing_ || file_.is_open(); }
    void add(std::string line);

    const std::vector<std::string>& lines() const { return lines_; }

private:
    bool listing_ = false;
    std::vector<std::string> lines_;
    LineFile file_;
};

} // namespace jlinksim
