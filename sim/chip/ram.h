#pragma once

#include "sim/device/bus_device.h"
#include "sim/model/chip_model.h"
#include "sim/witness/records.h"

#include <vector>

namespace jlinksim {

/// The RAM, in sections that are powered one by one. What loses its power holds the pattern of fresh RAM afterwards.
class Ram final : public BusDevice
{
public:
    static constexpr std::uint32_t base = 0x20000000;

    Ram(const ChipModel& model, std::span<std::uint8_t> bytes, Records& records);

    struct Section
    {
        std::uint32_t offset;
        std::uint32_t bytes;
        bool powered;
    };
    const std::vector<Section>& sections() const { return sections_; }
    std::span<std::uint8_t> bytes_of(const Section& section) const
    {
        return bytes_.subspan(section.offset, section.bytes);
    }

    /// Section `index` gets or loses its power.
    void set_powered(std::uint32_t index, bool powered);
    /// Take over the power states that the state files tell, whose bytes are already as they should be.
    void restore_powered(std::uint32_t index, bool powered) { sections_.at(index).powered = powered; }
    /// All content is lost.
    void lose_content();

    /// What a word of RAM holds that was never written: different at every address, so that stray writes show.
    static constexpr std::uint32_t fresh_word(std::uint32_t address) { return address * 0x9E3779B1U ^ 0xA5C35A3CU; }

    bool read(std::uint32_t offset, std::span<std::uint8_t> data) override;
    bool write(std::uint32_t offset, std::span<const std::uint8_t> data) override;
    std::span<std::uint8_t> raw() override { return bytes_; }

private:
    bool is_powered(std::uint32_t offset, std::size_t length) const;
    void fill_fresh(const Section& section);

    std::span<std::uint8_t> bytes_;
    std::vector<Section> sections_;
    Records& records_;
};

/// A part of the RAM at a second place in the address space.
class RamAlias final : public BusDevice
{
public:
    RamAlias(Ram& ram, std::uint32_t first) : ram_(ram), first_(first) {}
    bool read(std::uint32_t offset, std::span<std::uint8_t> data) override { return ram_.read(first_ + offset, data); }
    bool write(std::uint32_t offset, std::span<const std::uint8_t> data) override
    {
        return ram_.write(first_ + offset, data);
    }
    std::span<std::uint8_t> raw() override { return ram_.raw().subspan(first_); }

private:
    Ram& ram_;
    std::uint32_t first_;
};

} // namespace jlinksim
