#include "sim/jlink/read_cache.h"

#include <algorithm>

namespace jlinksim {
namespace {

constexpr std::size_t most_entries = 64;

} // namespace

bool ReadCache::is_kept_flash(std::uint32_t address, std::uint64_t length) const
{
    const std::uint64_t end = address + length;
    const bool excluded =
        std::ranges::any_of(excluded_, [&](const Range& range) { return address <= range.last && end > range.first; });
    return end <= flash_bytes_ && !excluded;
}

bool ReadCache::answer(std::uint32_t address, std::span<std::uint8_t> data, bool runs) const
{
    if (data.empty() || (runs && !is_kept_flash(address, data.size()))) {
        return false;
    }
    const auto entry = std::ranges::find_if(entries_, [&](const Entry& kept) {
        return address >= kept.address && address + data.size() <= kept.address + kept.bytes.size();
    });
    if (entry == entries_.end()) {
        return false;
    }
    std::ranges::copy(std::span{entry->bytes}.subspan(address - entry->address, data.size()), data.begin());
    return true;
}

void ReadCache::keep(std::uint32_t address, std::span<const std::uint8_t> data, bool runs)
{
    if (runs && !is_kept_flash(address, data.size())) {
        return;
    }
    if (entries_.size() == most_entries) {
        entries_.erase(entries_.begin());
    }
    entries_.push_back({address, {data.begin(), data.end()}});
}

void ReadCache::forget(std::uint32_t address, std::uint64_t length)
{
    std::erase_if(entries_, [&](const Entry& kept) {
        return !is_kept_flash(kept.address, kept.bytes.size()) && address < kept.address + kept.bytes.size() &&
               kept.address < address + length;
    });
}

void ReadCache::invalidate()
{
    std::erase_if(entries_, [&](const Entry& kept) { return !is_kept_flash(kept.address, kept.bytes.size()); });
}

} // namespace jlinksim
