#pragma once

#include "tests/sim/target_session.h"

#include <algorithm>
#include <vector>

namespace tessit_test {

inline constexpr std::uint32_t qspi = 0x40029000;
inline constexpr std::uint32_t activate = qspi;
inline constexpr std::uint32_t start_read = qspi + 0x004;
inline constexpr std::uint32_t start_write = qspi + 0x008;
inline constexpr std::uint32_t start_erase = qspi + 0x00C;
inline constexpr std::uint32_t deactivate = qspi + 0x010;
inline constexpr std::uint32_t release_lines = qspi + 0x054;
inline constexpr std::uint32_t ready_event = qspi + 0x100;
inline constexpr std::uint32_t enable = qspi + 0x500;
inline constexpr std::uint32_t csn_select = qspi + 0x528;
inline constexpr std::uint32_t interface_0 = qspi + 0x544;
inline constexpr std::uint32_t custom = qspi + 0x634;
inline constexpr std::uint32_t custom_data = qspi + 0x638;
inline constexpr std::uint32_t csn_pin = 0x50000700 + 4 * 9;
inline constexpr const char* m2 = "BIRCH_M2_VA_REV1";
inline constexpr const char* small_flash = "external_flash = { size = 65536 }\n";

inline constexpr std::uint32_t select_offsets[]{0x524, 0x528, 0x530, 0x534, 0x538, 0x53C};

inline void configure_lines()
{
    for (std::uint32_t line = 0; line < 6; ++line) {
        write_word(0x50000700 + 4 * (8 + line), 0x302);
        write_word(qspi + select_offsets[line], 8 + line);
    }
}

/// The next polls see the ready event, unless it never comes.
inline bool gets_ready()
{
    for (int polls = 0; polls < 500; ++polls) {
        if (read_word(ready_event) != 0) {
            return true;
        }
    }
    return false;
}

inline bool run_task(std::uint32_t task)
{
    write_word(ready_event, 0);
    write_word(task, 1);
    return gets_ready();
}

inline void start(std::uint32_t configuration_0 = 0)
{
    configure_lines();
    write_word(interface_0, configuration_0);
    write_word(enable, 1);
    ASSERT_TRUE(run_task(activate));
}

/// A chip whose interface is active.
struct QspiBoard : HaltedChip
{
    explicit QspiBoard(std::string_view chip_lines = small_flash, std::string_view version = m2)
        : HaltedChip{version, chip_lines}
    {
        start();
    }
};

/// A short instruction: what is sent, and what comes back, after the opcode.
inline std::vector<std::uint8_t> instruct(std::uint8_t opcode, std::vector<std::uint8_t> data = {},
                                          std::uint32_t bits = 0)
{
    const auto length = static_cast<std::uint32_t>(data.size() + 1);
    data.resize(8);
    EXPECT_EQ(JLINKARM_WriteMem(custom_data, 8, data.data()), 8);
    write_word(ready_event, 0);
    write_word(custom, opcode | length << 8 | 3U << 12 | bits);
    EXPECT_TRUE(gets_ready());
    command("InvalidateCache");
    EXPECT_EQ(JLINKARM_ReadMem(custom_data, 8, data.data()), 0);
    data.resize(length - 1);
    return data;
}

inline std::uint8_t status()
{
    return instruct(0x05, {0}).front();
}

inline void wait_for_serial_flash()
{
    for (int polls = 0; (status() & 1) != 0; ++polls) {
        ASSERT_LT(polls, 1000);
    }
}

inline void set_transfer(std::uint32_t first_register, std::uint32_t a, std::uint32_t b, std::uint32_t count)
{
    write_word(qspi + first_register, a);
    write_word(qspi + first_register + 4, b);
    write_word(qspi + first_register + 8, count);
}

inline bool read_flash(std::uint32_t address, std::uint32_t count, std::uint32_t to = ram)
{
    set_transfer(0x504, address, to, count);
    return run_task(start_read);
}

inline bool write_flash(std::uint32_t address, std::uint32_t count, std::uint32_t from = ram + 0x1000)
{
    set_transfer(0x510, address, from, count);
    return run_task(start_write);
}

inline bool erase_flash(std::uint32_t address, std::uint32_t length)
{
    write_word(qspi + 0x51C, address);
    write_word(qspi + 0x520, length);
    return run_task(start_erase);
}

inline std::vector<std::uint8_t> ram_bytes(std::uint32_t address, std::uint32_t count)
{
    std::vector<std::uint8_t> bytes(count);
    command("InvalidateCache");
    EXPECT_EQ(JLINKARM_ReadMem(address, count, bytes.data()), 0);
    return bytes;
}

inline void put_ram(std::uint32_t address, const std::vector<std::uint8_t>& bytes)
{
    const auto count = static_cast<std::uint32_t>(bytes.size());
    EXPECT_EQ(JLINKARM_WriteMem(address, count, bytes.data()), static_cast<int>(count));
}

inline std::vector<std::uint8_t> pattern(std::uint32_t count)
{
    std::vector<std::uint8_t> bytes(count);
    std::uint32_t value = 1;
    std::ranges::generate(bytes,
                          [&] { return static_cast<std::uint8_t>((value = value * 1664525 + 1013904223) >> 24); });
    return bytes;
}

} // namespace tessit_test
