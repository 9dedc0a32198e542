#pragma once

#include "sim/device/bus_device.h"
#include "sim/witness/records.h"

#include <algorithm>
#include <cstring>
#include <fmt/core.h>
#include <span>

namespace jlinksim {

/// What the bits of a written value do.
enum class WriteEffect
{
    store,       ///< replace the writable bits
    clear_ones,  ///< ones clear bits of this register
    set_other,   ///< ones set bits of the register at `other`; reads show that register
    clear_other, ///< ones clear bits of the register at `other`; reads show that register
};

/// A row of a peripheral's data sheet: one register, or `count` of them `stride` bytes apart.
template <class Device>
struct Register
{
    const char* name;
    std::uint32_t offset;
    std::uint32_t reset = 0;
    std::uint32_t writable = 0; ///< bits that a write can change; 0 and no hook makes it read-only
    /// Runs after the write took effect, with the value written.
    void (Device::*on_write)(std::uint32_t value, unsigned index) = nullptr;
    /// Gives the value read, in place of the stored one.
    std::uint32_t (Device::*on_read)(unsigned index) = nullptr;
    WriteEffect effect = WriteEffect::store;
    std::uint32_t other = 0;
    unsigned count = 1;
    unsigned stride = 4;
    bool retained = false; ///< only power-on resets it
    bool bytes = false;    ///< takes bytes and halfwords, too
};

/// Number of words that a table's registers need.
template <class Device>
constexpr std::size_t register_words(std::span<const Register<Device>> table)
{
    std::size_t words = 0;
    for (const Register<Device>& row : table) {
        words += row.count;
    }
    return words;
}

/// A peripheral made of registers: the one read, write and reset that apply its table. The words live in the chip's
/// state, so that they outlast the process.
template <class Device>
class RegisterBlock : public BusDevice
{
public:
    using Table = std::span<const Register<Device>>;

    RegisterBlock(const char* name, Table table, std::span<std::uint32_t> words, Records& records)
        : name_(name), table_(table), words_(words), records_(records)
    {
    }

    /// One register, by the offset of its table row. The access ports use these without a bus between.
    std::uint32_t read_register(std::uint32_t offset)
    {
        const Place place = find(offset);
        if (place.row == nullptr) {
            records_.add("register-reserved", fmt::format("read of {} + 0x{:X}", name_, offset));
            return 0;
        }
        if (place.row->on_read != nullptr) {
            return (device().*place.row->on_read)(place.index);
        }
        if (is_view(*place.row)) {
            return word(place.row->other + place.index * place.row->stride);
        }
        return words_[place.slot];
    }

    void write_register(std::uint32_t offset, std::uint32_t value)
    {
        const Place place = find(offset);
        if (place.row == nullptr) {
            records_.add("register-reserved", fmt::format("write to {} + 0x{:X}", name_, offset),
                         fmt::format(" of 0x{:X}", value));
            return;
        }
        const Register<Device>& row = *place.row;
        if (row.writable == 0 && row.on_write == nullptr) {
            records_.add("register-read-only", fmt::format("write to {}.{}", name_, register_name(place)),
                         fmt::format(" of 0x{:X}", value));
            return;
        }
        apply(row, place, value);
        if (row.on_write != nullptr) {
            (device().*row.on_write)(value, place.index);
        }
    }

    bool read(std::uint32_t offset, std::span<std::uint8_t> data) override
    {
        while (!data.empty()) {
            const std::uint32_t skipped = offset % 4;
            const std::uint32_t value = read_register(offset - skipped);
            const std::size_t count = std::min<std::size_t>(4 - skipped, data.size());
            std::memcpy(data.data(), reinterpret_cast<const std::uint8_t*>(&value) + skipped, count);
            data = data.subspan(count);
            offset += static_cast<std::uint32_t>(count);
        }
        return true;
    }

    bool write(std::uint32_t offset, std::span<const std::uint8_t> data) override
    {
        if (offset % 4 != 0 || data.size() % 4 != 0) {
            write_part(offset, data);
            return true;
        }
        for (; !data.empty(); data = data.subspan(4), offset += 4) {
            std::uint32_t value = 0;
            std::memcpy(&value, data.data(), sizeof value);
            write_register(offset, value);
        }
        return true;
    }

    void reset(ResetKind kind) override
    {
        std::size_t slot = 0;
        for (const Register<Device>& row : table_) {
            if (!row.retained || kind == ResetKind::power_on) {
                std::fill_n(words_.begin() + static_cast<std::ptrdiff_t>(slot), row.count, row.reset);
            }
            slot += row.count;
        }
    }

protected:
    ~RegisterBlock() override = default;

    /// The stored word of a register of the table.
    std::uint32_t& word(std::uint32_t offset) { return words_[find(offset).slot]; }
    std::uint32_t word(std::uint32_t offset) const { return words_[find(offset).slot]; }
    Records& records() { return records_; }
    const char* name() const { return name_; }

private:
    struct Place
    {
        const Register<Device>* row = nullptr;
        unsigned index = 0;
        std::size_t slot = 0;
    };

    /// With its number where the row stands for several.
    static std::string register_name(const Place& place)
    {
        return place.row->count == 1 ? place.row->name : fmt::format("{}[{}]", place.row->name, place.index);
    }

    static bool is_view(const Register<Device>& row)
    {
        return row.effect == WriteEffect::set_other || row.effect == WriteEffect::clear_other;
    }

    Place find(std::uint32_t offset) const
    {
        std::size_t slot = 0;
        for (const Register<Device>& row : table_) {
            const std::uint32_t distance = offset - row.offset;
            if (offset >= row.offset && distance % row.stride == 0 && distance / row.stride < row.count) {
                const unsigned index = distance / row.stride;
                return {&row, index, slot + index};
            }
            slot += row.count;
        }
        return {};
    }

    void apply(const Register<Device>& row, const Place& place, std::uint32_t value)
    {
        const std::uint32_t bits = value & row.writable;
        switch (row.effect) {
        case WriteEffect::store:
            words_[place.slot] = (words_[place.slot] & ~row.writable) | bits;
            break;
        case WriteEffect::clear_ones:
            words_[place.slot] &= ~bits;
            break;
        case WriteEffect::set_other:
            word(row.other + place.index * row.stride) |= bits;
            break;
        case WriteEffect::clear_other:
            word(row.other + place.index * row.stride) &= ~bits;
            break;
        }
    }

    /// Of one register. The bits beside it stay as they are: where ones clear, they are written as zeros.
    void write_part(std::uint32_t offset, std::span<const std::uint8_t> data)
    {
        const std::uint32_t skipped = offset % 4;
        const Place place = find(offset - skipped);
        if (place.row == nullptr || !place.row->bytes || skipped + data.size() > 4) {
            records_.add("register-not-word",
                         fmt::format("write of {} bytes to {} + 0x{:X}", data.size(), name_, offset));
            return;
        }
        std::uint32_t value = place.row->effect == WriteEffect::store ? read_register(offset - skipped) : 0;
        std::memcpy(reinterpret_cast<std::uint8_t*>(&value) + skipped, data.data(), data.size());
        write_register(offset - skipped, value);
    }

    Device& device() { return static_cast<Device&>(*this); }

    const char* name_;
    Table table_;
    std::span<std::uint32_t> words_;
    Records& records_;
};

} // namespace jlinksim
