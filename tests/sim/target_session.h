#pragma once

#include "jlinkarm_api.h"
#include "jlinkarm_sim.h"
#include "tests/support/temp_bench.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace tessit_test {

inline constexpr std::uint32_t flash_ready = 0x4001E400;
inline constexpr std::uint32_t flash_config = 0x4001E504;
inline constexpr std::uint32_t flash_erase_page = 0x4001E508;
inline constexpr std::uint32_t flash_erase_all = 0x4001E50C;
inline constexpr std::uint32_t flash_key = 0x4001E600;
inline constexpr std::uint32_t flash_mass_erase = 0x4001E610;
inline constexpr std::uint32_t protection_word = 0x10001208;
inline constexpr std::uint32_t ram = 0x20000000;

/// As many lines as texts, each of which begins with its text: what take_records() gives.
template <class... Texts>
auto begin_with(const Texts&... texts)
{
    return testing::ElementsAre(testing::StartsWith(texts)...);
}

/// Error text of a J-Link command; empty when it was accepted.
inline std::string command(const char* text)
{
    char error[500] = "";
    JLINKARM_ExecCommand(text, error, sizeof error);
    return error;
}

inline std::uint32_t read_word(std::uint32_t address)
{
    std::uint32_t value = 0;
    std::uint8_t status = 1;
    command("InvalidateCache");
    EXPECT_EQ(JLINKARM_ReadMemU32(address, 1, &value, &status), 1) << std::hex << address;
    EXPECT_EQ(status, 0) << std::hex << address;
    return value;
}

inline void write_word(std::uint32_t address, std::uint32_t value)
{
    EXPECT_EQ(JLINKARM_WriteU32(address, value), 0) << std::hex << address;
}

inline void wait_for_flash()
{
    for (int polls = 0; read_word(flash_ready) == 0; ++polls) {
        ASSERT_LT(polls, 10000) << "the flash controller never gets ready";
    }
}

/// A register of the flash controller, and the wait that it takes.
inline void set_flash(std::uint32_t address, std::uint32_t value)
{
    write_word(address, value);
    wait_for_flash();
}

/// A write to flash or UICR, as a host makes it.
inline void program_word(std::uint32_t address, std::uint32_t value)
{
    set_flash(flash_config, 1);
    set_flash(address, value);
    set_flash(flash_config, 0);
}

inline bool open_probe()
{
    const char* const error = JLINKARM_OpenEx(nullptr, nullptr);
    EXPECT_EQ(error, nullptr) << error;
    if (error != nullptr) {
        return false;
    }
    for (const char* const setting : {"Device = BIRCH_M1_VA", "SetRestartOnClose = 0", "DisableFlashDL",
                                      "SetDbgPowerDownOnClose = 1", "ExcludeFlashCacheRange 0x0-0xFFFFFFFF"}) {
        EXPECT_EQ(command(setting), "") << setting;
    }
    JLINKARM_TIF_Select(1);
    JLINKARM_SetSpeed(4000);
    JLINKARM_SetResetType(8);
    return true;
}

/// As a host ends its session.
inline void close_probe()
{
    write_word(0xE000EDFC, 0);
    JLINKARM_Close();
}

inline void pulse_reset_line()
{
    JLINKARM_TIF_Select(0);
    JLINKARM_ClrRESET();
    JLINKARM_SetRESET();
    JLINKARM_TIF_Select(1);
}

/// A session that is connected to the chip, whose CPU is halted.
inline void connect_halted()
{
    ASSERT_TRUE(open_probe());
    ASSERT_GE(JLINKARM_Connect(), 0);
    ASSERT_EQ(JLINKARM_Halt(), 0);
}

/// One chip, with a session that has halted its CPU.
struct HaltedChip : TempBench
{
    explicit HaltedChip(std::string_view version = "BIRCH_M1_VA_REV2", std::string_view chip_lines = "")
        : TempBench{chip_toml(version, chip_lines)}
    {
        connect_halted();
    }
};

inline std::uint32_t read_port(std::uint8_t port, std::uint8_t address)
{
    std::uint32_t value = 0;
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, static_cast<std::uint32_t>(port << 24 | (address & 0xF0))), 0);
    EXPECT_EQ(JLINKARM_CORESIGHT_ReadAPDPReg(address >> 2 & 3, 1, &value), 0);
    return value;
}

inline void write_port(std::uint8_t port, std::uint8_t address, std::uint32_t value)
{
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, static_cast<std::uint32_t>(port << 24 | (address & 0xF0))), 0);
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(address >> 2 & 3, 1, value), 0);
}

/// Debug port ready for access port registers, without a connection to the CPU.
inline void power_debug_port()
{
    ASSERT_EQ(JLINKARM_CORESIGHT_Configure(""), 0);
    ASSERT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(1, 0, 0x50000000), 0);
}

} // namespace tessit_test
