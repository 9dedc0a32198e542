#include "sim/witness/records.h"

#include "base/path.h"
#include "sim/platform/private_file.h"

#include <algorithm>
#include <filesystem>
#include <fmt/core.h>

namespace jlinksim {
namespace {

/// The last line of a name in a call that left more than fits.
constexpr const char* elsewhere = "at further places";

} // namespace

void Records::add(std::string_view name, std::string_view what, std::string_view detail)
{
    if (mutes_ != 0) {
        return;
    }
    std::size_t places = 0;
    for (std::size_t i = call_begin_; i < entries_.size(); ++i) {
        Entry& entry = entries_[i];
        if (entry.name != name) {
            continue;
        }
        if (entry.what == what || entry.what == elsewhere) {
            ++entry.repetitions;
            return;
        }
        ++places;
    }
    if (places < most_places) {
        entries_.push_back({std::string{name}, std::string{what}, std::string{detail}});
    } else {
        entries_.push_back({std::string{name}, elsewhere, {}});
    }
}

void Records::call_ends()
{
    for (std::size_t i = call_begin_; i < entries_.size(); ++i) {
        const std::string text = line(i);
        if (file_.is_open()) {
            file_.add(text);
        }
        keep(text);
    }
    const std::size_t kept = std::min(entries_.size(), most_lines);
    lost_ += entries_.size() - kept;
    entries_.resize(kept);
    call_begin_ = kept;
}

void Records::keep(const std::string& line)
{
    if (kept_path_.empty()) {
        return;
    }
    if (!kept_.is_open()) {
        try {
            platform::create_private_folder(tessit::base::path_of(kept_path_).parent_path());
            kept_.open(kept_path_, "the bench's state");
        } catch (const std::exception&) { // a bench that cannot keep them works all the same
            kept_path_.clear();
            return;
        }
    }
    if (kept_.size() < most_kept_bytes) {
        kept_.add(line);
    }
}

std::string Records::line(std::size_t index) const
{
    if (lost_ != 0 && index == entries_.size()) {
        return fmt::format("records-not-kept: {} more lines", lost_);
    }
    const Entry& entry = entries_.at(index);
    if (entry.repetitions == 0) {
        return fmt::format("{}: {}{}", entry.name, entry.what, entry.detail);
    }
    return fmt::format("{}: {}{} (and {} more in this call)", entry.name, entry.what, entry.detail, entry.repetitions);
}

void Records::clear()
{
    entries_.clear();
    call_begin_ = 0;
    lost_ = 0;
}

} // namespace jlinksim
