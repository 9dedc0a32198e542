#include "sim/chip/bus.h"

#include <algorithm>
#include <cstring>
#include <fmt/core.h>

namespace jlinksim {

void Bus::attach(std::uint32_t address, std::uint32_t size, BusDevice& device, std::uint32_t first_offset)
{
    windows_.push_back({address, size, &device, first_offset});
}

Bus::Target Bus::find(std::uint32_t address, std::size_t length) const
{
    for (const Window& window : windows_) {
        const std::uint32_t distance = address - window.address;
        if (address >= window.address && distance < window.size) {
            return {window.device, window.first_offset + distance,
                    std::min<std::size_t>(length, window.size - distance)};
        }
    }
    return {};
}

namespace {

constexpr std::uint32_t block_bytes = 4096;

/// Peripherals and the core's own registers answer everywhere in their ranges; elsewhere nothing answers at all.
constexpr bool is_peripheral_space(std::uint32_t address)
{
    return (address >= 0x40000000 && address < 0x60000000) || address >= 0xE0000000;
}

} // namespace

Bus::Target Bus::find_or_record(std::uint32_t address, std::size_t length, const char* access)
{
    const Target target = find(address, length);
    if (target.device == nullptr) {
        records_.add("address-unmapped", fmt::format("{} of {} bytes at 0x{:08X}", access, length, address));
    }
    return target;
}

bool Bus::read(std::uint32_t address, std::span<std::uint8_t> data)
{
    while (!data.empty()) {
        Target target = find_or_record(address, data.size(), "read");
        if (target.device != nullptr) {
            if (!target.device->read(target.offset, data.first(target.length))) {
                return false;
            }
        } else if (is_peripheral_space(address)) {
            target.length = std::min<std::size_t>(data.size(), block_bytes - address % block_bytes);
            std::ranges::fill(data.first(target.length), std::uint8_t{0});
        } else {
            return false;
        }
        data = data.subspan(target.length);
        address += static_cast<std::uint32_t>(target.length);
    }
    return true;
}

bool Bus::write(std::uint32_t address, std::span<const std::uint8_t> data)
{
    while (!data.empty()) {
        Target target = find_or_record(address, data.size(), "write");
        if (target.device != nullptr) {
            if (!target.device->write(target.offset, data.first(target.length))) {
                return false;
            }
        } else if (is_peripheral_space(address)) {
            target.length = std::min<std::size_t>(data.size(), block_bytes - address % block_bytes);
        } else {
            return false;
        }
        data = data.subspan(target.length);
        address += static_cast<std::uint32_t>(target.length);
    }
    return true;
}

bool Bus::peek(std::uint32_t address, std::span<std::uint8_t> data)
{
    const Records::Mute mute{records_};
    while (!data.empty()) {
        const Target target = find(address, data.size());
        if (target.device == nullptr) {
            return false;
        }
        const std::span<std::uint8_t> part = data.first(target.length);
        if (const auto raw = target.device->raw(); !raw.empty()) {
            std::ranges::copy(raw.subspan(target.offset, target.length), part.begin());
        } else if (!target.device->read(target.offset, part)) {
            return false;
        }
        data = data.subspan(target.length);
        address += static_cast<std::uint32_t>(target.length);
    }
    return true;
}

bool Bus::poke(std::uint32_t address, std::span<const std::uint8_t> data)
{
    const Records::Mute mute{records_};
    while (!data.empty()) {
        const Target target = find(address, data.size());
        if (target.device == nullptr) {
            return false;
        }
        const std::span<const std::uint8_t> part = data.first(target.length);
        if (const auto raw = target.device->raw(); !raw.empty()) {
            std::ranges::copy(part, raw.begin() + target.offset);
        } else if (!target.device->write(target.offset, part)) {
            return false;
        }
        data = data.subspan(target.length);
        address += static_cast<std::uint32_t>(target.length);
    }
    return true;
}

std::uint32_t Bus::peek_word(std::uint32_t address)
{
    std::uint8_t bytes[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    std::uint32_t value = 0;
    peek(address, bytes);
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

bool Bus::cpu_read(std::uint32_t address, unsigned width, std::uint32_t& value)
{
    std::uint8_t bytes[4] = {};
    if (!read(address, std::span{bytes}.first(width))) {
        return false;
    }
    std::memcpy(&value, bytes, sizeof value);
    return true;
}

bool Bus::cpu_write(std::uint32_t address, unsigned width, std::uint32_t value)
{
    std::uint8_t bytes[4];
    std::memcpy(bytes, &value, sizeof value);
    return write(address, std::span{bytes}.first(width));
}

} // namespace jlinksim
