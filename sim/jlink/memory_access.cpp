#include "sim/jlink/memory_access.h"

#include <algorithm>
#include <fmt/core.h>

namespace jlinksim {
namespace {

/// Addresses do not wrap around: the probe refuses what runs past the end.
bool fits(std::uint32_t address, std::uint64_t length)
{
    return address + length <= 1ULL << 32;
}

bool reaches_flash(const Chip& chip, std::uint32_t address)
{
    return address < chip.model().flash_bytes;
}

} // namespace

bool read_memory(Session& session, std::uint32_t address, std::span<std::uint8_t> data)
{
    Chip* const chip = session.require_chip();
    if (chip == nullptr || !fits(address, data.size())) {
        return false;
    }
    const bool runs = !chip->core().is_halted();
    if (session.read_cache().answer(address, data, runs)) {
        return true;
    }
    session.spend_block(data.size());
    const bool ok = chip->debug_read(address, data);
    if (ok) {
        session.read_cache().keep(address, data, runs);
    }
    return ok;
}

bool write_memory(Session& session, std::uint32_t address, std::span<const std::uint8_t> data)
{
    Chip* const chip = session.require_chip();
    if (chip == nullptr || !fits(address, data.size())) {
        return false;
    }
    if (session.settings().downloads_flash && reaches_flash(*chip, address)) {
        session.bench().records().add("flash-download",
                                      fmt::format("write to 0x{:08X} without \"DisableFlashDL\"", address));
        session.report("This J-Link library does not program flash. Send \"DisableFlashDL\" first.");
        return false;
    }
    session.spend_block(data.size());
    session.read_cache().forget(address, data.size());
    return chip->debug_write(address, data);
}

int read_words(Session& session, std::uint32_t address, std::span<std::uint32_t> words, std::uint8_t* status)
{
    Chip* const chip = session.require_chip();
    if (chip == nullptr || !fits(address, words.size_bytes())) {
        return -1;
    }
    const bool runs = !chip->core().is_halted();
    const std::span<std::uint8_t> all{reinterpret_cast<std::uint8_t*>(words.data()), words.size_bytes()};
    if (session.read_cache().answer(address, all, runs)) {
        std::fill_n(status, status == nullptr ? 0 : words.size(), std::uint8_t{0});
        return static_cast<int>(words.size());
    }
    session.spend_block(words.size_bytes());
    int count = 0;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::span<std::uint8_t> bytes{reinterpret_cast<std::uint8_t*>(&words[i]), sizeof words[i]};
        const bool ok = chip->debug_read(address + static_cast<std::uint32_t>(4 * i), bytes);
        count += ok ? 1 : 0;
        if (status != nullptr) {
            status[i] = ok ? 0 : 1;
        }
    }
    if (static_cast<std::size_t>(count) == words.size()) {
        session.read_cache().keep(address, all, runs);
    }
    return count;
}

} // namespace jlinksim
