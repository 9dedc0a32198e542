#include "sim/chip/ram.h"

#include <algorithm>
#include <cstring>
#include <fmt/core.h>

namespace jlinksim {

Ram::Ram(const ChipModel& model, std::span<std::uint8_t> bytes, Records& records) : bytes_(bytes), records_(records)
{
    std::uint32_t offset = 0;
    for (std::uint32_t index = 0; index < model.ram_sections(); ++index) {
        const bool small = index < model.small_ram_sections;
        const std::uint32_t size = small ? small_ram_section_bytes : large_ram_section_bytes;
        sections_.push_back({offset, size, true});
        offset += size;
    }
}

void Ram::fill_fresh(const Section& section)
{
    for (std::uint32_t offset = section.offset; offset < section.offset + section.bytes; offset += 4) {
        const std::uint32_t value = fresh_word(base + offset);
        std::memcpy(&bytes_[offset], &value, sizeof value);
    }
}

void Ram::lose_content()
{
    std::ranges::for_each(sections_, [this](const Section& section) { fill_fresh(section); });
}

void Ram::set_powered(std::uint32_t index, bool powered)
{
    Section& section = sections_.at(index);
    if (section.powered && !powered) {
        fill_fresh(section);
    }
    section.powered = powered;
}

bool Ram::is_powered(std::uint32_t offset, std::size_t length) const
{
    return std::ranges::all_of(sections_, [&](const Section& section) {
        const bool outside = section.offset >= offset + length || offset >= section.offset + section.bytes;
        return outside || section.powered;
    });
}

bool Ram::read(std::uint32_t offset, std::span<std::uint8_t> data)
{
    std::ranges::copy(bytes_.subspan(offset, data.size()), data.begin());
    if (!is_powered(offset, data.size())) {
        records_.add("ram-off", fmt::format("read of {} bytes at 0x{:08X}", data.size(), base + offset));
    }
    return true;
}

bool Ram::write(std::uint32_t offset, std::span<const std::uint8_t> data)
{
    if (is_powered(offset, data.size())) {
        std::ranges::copy(data, bytes_.begin() + offset);
        return true;
    }
    records_.add("ram-off", fmt::format("write of {} bytes at 0x{:08X}", data.size(), base + offset));
    for (const Section& section : sections_) {
        const std::uint32_t first = std::max(section.offset, offset);
        const std::uint32_t last =
            std::min(section.offset + section.bytes, offset + static_cast<std::uint32_t>(data.size()));
        if (section.powered && first < last) {
            std::ranges::copy(data.subspan(first - offset, last - first), bytes_.begin() + first);
        }
    }
    return true;
}

} // namespace jlinksim
