#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace jlinksim {

/// What the J-Link library answers without asking the target. It keeps whatever is read of a halted target, and does
/// not know that the target's peripherals change it; and it keeps what is read of flash, which it takes to change by
/// its own programming only, for as long as the session lasts.
class ReadCache
{
public:
    /// The flash of the connected target, from address 0 on.
    void set_flash(std::uint32_t bytes) { flash_bytes_ = bytes; }
    /// No read within these addresses, both included, is answered from the flash cache.
    void exclude_flash(std::uint32_t first, std::uint32_t last) { excluded_.push_back({first, last}); }

    /// @param runs whether the CPU runs: then only flash is kept
    bool answer(std::uint32_t address, std::span<std::uint8_t> data, bool runs) const;
    void keep(std::uint32_t address, std::span<const std::uint8_t> data, bool runs);
    /// The host wrote there itself.
    void forget(std::uint32_t address, std::uint64_t length);
    /// The target may have changed everything but its flash.
    void invalidate();
    void clear() { *this = {}; }

private:
    struct Range
    {
        std::uint32_t first;
        std::uint32_t last;
    };
    struct Entry
    {
        std::uint32_t address;
        std::vector<std::uint8_t> bytes;
    };

    bool is_kept_flash(std::uint32_t address, std::uint64_t length) const;

    std::uint32_t flash_bytes_ = 0;
    std::vector<Range> excluded_;
    std::vector<Entry> entries_;
};

} // namespace jlinksim
