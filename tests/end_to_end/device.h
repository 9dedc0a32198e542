#pragma once

#include "jlinkarm_birch_tessit.h"
#include "jlinkarm_sim.h"
#include "tests/support/temp_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tessit_test {

#define EXPECT_OK(call) EXPECT_EQ(call, RESULT_OK)

inline constexpr std::uint32_t blank = 0xFFFFFFFF;
inline constexpr std::uint32_t ram = 0x20000000;
inline constexpr std::uint32_t reset_reasons = 0x40000400;

/// The library connected to a probe whose chip's firmware runs: an endless loop at 0x200. Whatever the simulation
/// records, to the close of the session, fails the test.
struct Device : TempBench
{
    explicit Device(std::string_view version = "BIRCH_M1_VA_REV2", std::string_view chip_lines = "",
                    std::string_view bench_lines = "")
        : TempBench{std::string{bench_lines} + chip_toml(version, chip_lines)}
    {
        put_firmware();
        EXPECT_EQ(JLINKSIM_power_cycle(serial_number), 0);
        EXPECT_OK(TESSIT_open_dll(SIM_LIBRARY, nullptr, BIRCH_FAMILY));
        EXPECT_OK(TESSIT_connect_to_emu_with_snr(serial_number, 8000));
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    ~Device() { TESSIT_close_dll(); }

    void put_firmware() const
    {
        poke_word(0, ram + 0x1000);
        poke_word(4, 0x201);
        poke_word(0x200, 0xE7FEE7FE);
    }
};

inline bool is_halted()
{
    bool halted = false;
    EXPECT_OK(TESSIT_is_halted(&halted));
    return halted;
}

inline std::uint32_t word_at(std::uint32_t address)
{
    std::uint32_t value = 0;
    EXPECT_OK(TESSIT_read_u32(address, &value));
    return value;
}

} // namespace tessit_test
