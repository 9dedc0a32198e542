/// Bytes that differ from what they should be.
#pragma once

#include "cli/failure.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

struct Mismatch
{
    std::uint32_t address = 0;
    std::uint8_t expected = 0;
    std::uint8_t found = 0;
};

/// Counts all differing bytes and keeps the first few.
class Mismatches
{
public:
    void compare(std::uint32_t address, std::span<const std::uint8_t> expected, std::span<const std::uint8_t> found);

    std::uint64_t count() const { return count_; }
    const std::vector<Mismatch>& first() const { return first_; }

    /// A Failure with ExitCode::verify_mismatch that lists them. `what` was compared with what `holder` names; the hint
    /// says what to do about a difference.
    Failure failure(std::string_view what, std::string_view holder, const std::string& hint) const;
    /// Throws it unless there are none.
    void require_none(std::string_view what, std::string_view holder, const std::string& hint) const;

private:
    std::uint64_t count_ = 0;
    std::vector<Mismatch> first_;
};

} // namespace tessit::cli
