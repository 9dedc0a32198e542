#include "sim/witness/records.h"

#include <algorithm>
#include <fmt/core.h>

namespace jlinksim {

void Records::add(std::string_view name, std::string_view what)
{
    if (mutes_ != 0) {
        return;
    }
    const auto first = entries_.begin() + static_cast<std::ptrdiff_t>(call_begin_);
    const auto same = std::find_if(first, entries_.end(), [&](const Entry& entry) { return entry.name == name; });
    if (same != entries_.end()) {
        ++same->repetitions;
        return;
    }
    entries_.push_back({std::string{name}, std::string{what}, 0});
}

void Records::call_ends()
{
    for (std::size_t i = call_begin_; file_.is_open() && i < entries_.size(); ++i) {
        file_.add(line(i));
    }
    call_begin_ = entries_.size();
}

std::string Records::line(std::size_t index) const
{
    const Entry& entry = entries_.at(index);
    if (entry.repetitions == 0) {
        return fmt::format("{}: {}", entry.name, entry.what);
    }
    return fmt::format("{}: {} (and {} more in this call)", entry.name, entry.what, entry.repetitions);
}

void Records::clear()
{
    entries_.clear();
    call_begin_ = 0;
}

} // namespace jlinksim
