#pragma once

#include "tests/sim/target_session.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace tessit_test {

inline constexpr std::uint32_t ram_bytes = 0x10000;
inline constexpr std::int32_t not_found = -2;

struct Ring
{
    std::uint32_t name;
    std::uint32_t buffer;
    std::uint32_t size;
    std::uint32_t write;
    std::uint32_t read;
    std::uint32_t flags;
};

enum Direction : std::uint32_t
{
    up,
    down
};

struct ChannelRecord
{
    std::uint32_t channel;
    std::uint32_t direction;
    char name[32];
    std::uint32_t size;
    std::uint32_t flags;
};

/// A chip whose CPU is halted; the test does what its firmware would do.
class RttBoard : public testing::Test
{
protected:
    static constexpr std::uint32_t block = ram + 0x1000;
    static constexpr std::uint32_t names = ram + 0x1800;
    static constexpr std::uint32_t log_buffer = ram + 0x2000;
    static constexpr std::uint32_t data_buffer = ram + 0x2100;
    static constexpr std::uint32_t echo_buffer = ram + 0x2200;

    RttBoard() { connect_halted(); }

    void poke(std::uint32_t address, std::string_view bytes) const
    {
        ASSERT_EQ(
            JLINKSIM_poke(TempBench::serial_number, address, bytes.data(), static_cast<std::uint32_t>(bytes.size())),
            0);
    }
    std::string peek(std::uint32_t address, std::uint32_t length) const
    {
        const std::vector<std::uint8_t> bytes = bench.peek(address, length);
        return {bytes.begin(), bytes.end()};
    }

    static std::string_view identifier() { return {"SEGGER RTT\0\0\0\0\0\0", 16}; }

    void make_block(std::uint32_t address, std::uint32_t up_count, std::uint32_t down_count,
                    const std::vector<Ring>& rings) const
    {
        bench.poke_word(address + 16, up_count);
        bench.poke_word(address + 20, down_count);
        for (std::size_t i = 0; i < rings.size(); ++i) {
            set_ring(address, i, rings[i]);
        }
        poke(address, identifier());
    }
    void set_ring(std::uint32_t address, std::size_t index, const Ring& ring) const
    {
        poke(address + 24 + 24 * static_cast<std::uint32_t>(index),
             {reinterpret_cast<const char*>(&ring), sizeof ring});
    }
    Ring get_ring(std::uint32_t address, std::size_t index) const
    {
        Ring ring{};
        const std::string bytes = peek(address + 24 + 24 * static_cast<std::uint32_t>(index), sizeof ring);
        std::memcpy(&ring, bytes.data(), sizeof ring);
        return ring;
    }

    /// Two up rings of 64 bytes, "log" and "data", and a down ring of 16, "echo"; the data ring holds "payload".
    std::vector<Ring> usual_rings() const
    {
        poke(names, std::string_view{"log\0data\0echo\0", 14});
        poke(data_buffer, "payload");
        return {{names, log_buffer, 64, 0, 0, 2},
                {names + 4, data_buffer, 64, 7, 0, 1},
                {names + 9, echo_buffer, 16, 0, 0, 0}};
    }
    void make_usual_block(std::uint32_t address = block) const { make_block(address, 2, 1, usual_rings()); }

    static std::int32_t start(std::optional<std::uint32_t> address = {})
    {
        std::array<std::uint32_t, 4> record{address.value_or(0)};
        return JLINK_RTTERMINAL_Control(0, address ? record.data() : nullptr);
    }
    static std::int32_t stop()
    {
        std::array<std::uint8_t, 16> record{1};
        return JLINK_RTTERMINAL_Control(1, record.data());
    }
    static std::int32_t count(std::uint32_t direction) { return JLINK_RTTERMINAL_Control(3, &direction); }
    /// What the target holds now, after a poll at least; long enough for the whole RAM to be searched.
    static std::int32_t find()
    {
        read_word(ram); ///< takes as long as from one poll to the next
        std::int32_t result = not_found;
        for (std::uint32_t tries = 0; tries < 2 * ram_bytes / 1024 && result == not_found; ++tries) {
            result = count(up);
        }
        return result;
    }
    static std::string read(std::uint32_t channel, std::uint32_t size = 1000)
    {
        std::string bytes(size, '\0');
        const std::int32_t result = JLINK_RTTERMINAL_Read(channel, bytes.data(), size);
        EXPECT_GE(result, 0);
        bytes.resize(static_cast<std::size_t>(std::max(result, 0)));
        return bytes;
    }
    static std::int32_t write(std::uint32_t channel, std::string_view bytes)
    {
        return JLINK_RTTERMINAL_Write(channel, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }

    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
};

} // namespace tessit_test
