#include "cli/memory/mismatches.h"

#include "cli/text/json.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {

void Mismatches::compare(std::uint32_t address, std::span<const std::uint8_t> expected,
                         std::span<const std::uint8_t> found)
{
    constexpr std::size_t listed = 8;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] == found[i]) {
            continue;
        }
        ++count_;
        if (first_.size() < listed) {
            first_.push_back({address + static_cast<std::uint32_t>(i), expected[i], found[i]});
        }
    }
}

Failure Mismatches::failure(std::string_view what, std::string_view holder, const std::string& hint) const
{
    std::string list;
    Json json = Json::list();
    for (const Mismatch& mismatch : first_) {
        json.push_back({{"address", mismatch.address}, {"expected", mismatch.expected}, {"found", mismatch.found}});
        list += fmt::format("\n  {:#010x}  expected {:#04x}, found {:#04x}", mismatch.address, mismatch.expected,
                            mismatch.found);
    }
    if (count_ > first_.size()) {
        list += fmt::format("\n  and {} more", count_ - first_.size());
    }
    Failure failure{
        ExitCode::verify_mismatch,
        fmt::format("{} differs from {} in {} byte{}:{}", holder, what, count_, count_ == 1 ? "" : "s", list), hint};
    return failure.with(
        std::make_shared<const Json>(Json{{"mismatches", std::move(json)}, {"mismatch_count", count_}}));
}

void Mismatches::require_none(std::string_view what, std::string_view holder, const std::string& hint) const
{
    if (count_ != 0) {
        throw failure(what, holder, hint);
    }
}

} // namespace tessit::cli
