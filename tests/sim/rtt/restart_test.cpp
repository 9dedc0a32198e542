// Firmware that starts again between two accesses of a poll, and makes its rings again.
#include "sim/rtt/rtt.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace jlinksim {
namespace {

constexpr std::uint32_t ram_base = 0x20000000;
constexpr std::uint32_t up_descriptor = 24;
constexpr std::uint32_t down_descriptor = 48;
constexpr std::uint32_t up_buffer = 0x100;
constexpr std::uint32_t down_buffer = 0x140;
constexpr std::uint32_t ring_bytes = 64;

/// RAM in which the firmware starts again as soon as the probe has touched a ring's buffer.
class RestartingRam final : public RttMemory
{
public:
    RestartingRam()
    {
        std::ranges::copy(rtt_identifier, bytes_.begin());
        put(16, 1);
        put(20, 1);
        make_rings(up_buffer, {.write = 10, .read = 2}, {.write = 5, .read = 5});
    }

    struct Offsets
    {
        std::uint32_t write;
        std::uint32_t read;
    };
    void make_rings(std::uint32_t up, Offsets up_offsets, Offsets down_offsets)
    {
        make_ring(up_descriptor, up, up_offsets);
        make_ring(down_descriptor, down_buffer, down_offsets);
    }
    /// From now on what the probe does at this offset is followed by the restart.
    void restart_after(std::uint32_t offset, std::uint32_t new_up_buffer)
    {
        trigger_ = offset;
        new_up_buffer_ = new_up_buffer;
    }
    std::uint32_t word(std::uint32_t offset) const
    {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }

    bool read(std::uint32_t address, std::span<std::uint8_t> data) override
    {
        std::copy_n(bytes_.begin() + (address - ram_base), data.size(), data.begin());
        happen(address);
        return true;
    }
    bool write(std::uint32_t address, std::span<const std::uint8_t> data) override
    {
        std::ranges::copy(data, bytes_.begin() + (address - ram_base));
        happen(address);
        return true;
    }
    bool is_ram(std::uint32_t address, std::uint64_t length) const override
    {
        return address >= ram_base && address - ram_base + length <= bytes_.size();
    }

private:
    void put(std::uint32_t offset, std::uint32_t value) { std::memcpy(bytes_.data() + offset, &value, sizeof value); }
    void make_ring(std::uint32_t descriptor, std::uint32_t buffer, Offsets offsets)
    {
        put(descriptor + 4, ram_base + buffer);
        put(descriptor + 8, ring_bytes);
        put(descriptor + 12, offsets.write);
        put(descriptor + 16, offsets.read);
    }
    void happen(std::uint32_t address)
    {
        if (trigger_ != 0 && address == ram_base + trigger_) {
            trigger_ = 0;
            make_rings(new_up_buffer_, {0, 0}, {0, 0});
        }
    }

    std::array<std::uint8_t, 0x400> bytes_{};
    std::uint32_t trigger_ = 0;
    std::uint32_t new_up_buffer_ = 0;
};

TEST(RttRestart, betweenTheDataAndItsOffsetLeavesTheNewRingsAlone)
{
    for (const std::uint32_t new_up_buffer : {up_buffer, up_buffer + 0x100}) {
        Records records;
        Rtt rtt{records};
        RestartingRam ram;
        ram.restart_after(up_buffer + 2, new_up_buffer);
        rtt.start(ram_base, 0);
        rtt.poll(ram, 0);
        std::array<std::uint8_t, ring_bytes> data{};
        EXPECT_EQ(rtt.read(0, data), 0U);
        EXPECT_EQ(ram.word(up_descriptor + RttRing::read_position), 0U);

        ram.make_rings(new_up_buffer, {.write = 3, .read = 0}, {.write = 5, .read = 5});
        const std::array<std::uint8_t, 3> sent{'a', 'b', 'c'};
        EXPECT_EQ(rtt.write(0, sent), sent.size());
        ram.restart_after(down_buffer + 5, new_up_buffer);
        rtt.poll(ram, 0);
        EXPECT_EQ(ram.word(down_descriptor + RttRing::write_position), 0U);
        rtt.poll(ram, 0);
        EXPECT_EQ(ram.word(down_descriptor + RttRing::write_position), sent.size()) << "given to the new ring";
    }
}

} // namespace
} // namespace jlinksim
