#pragma once

#include "tests/sim/target_session.h"

#include <string_view>
#include <vector>

namespace tessit_test {

inline constexpr unsigned sp = 13;
inline constexpr unsigned lr = 14;
inline constexpr unsigned pc = 15;
inline constexpr unsigned xpsr = 16;
inline constexpr unsigned msp = 17;
inline constexpr unsigned psp = 18;

inline constexpr std::uint32_t interrupt_control = 0xE000ED04; // ICSR
inline constexpr std::uint32_t handlers = 0xE000ED24;          // SHCSR
inline constexpr std::uint32_t fault_status = 0xE000ED28;      // CFSR
inline constexpr std::uint32_t hard_fault_status = 0xE000ED2C; // HFSR
inline constexpr std::uint32_t debug_faults = 0xE000ED30;      // DFSR
inline constexpr std::uint32_t debug_control = 0xE000EDF0;     // DHCSR
inline constexpr std::uint32_t register_selector = 0xE000EDF4; // DCRSR
inline constexpr std::uint32_t register_data = 0xE000EDF8;     // DCRDR
inline constexpr std::uint32_t exception_monitor = 0xE000EDFC; // DEMCR

inline constexpr std::uint32_t stack = ram + 0x1000;
inline constexpr std::uint32_t handler = 0x180;
inline constexpr std::uint32_t entry = 0x200;

/// A program, halted at its entry, whose exceptions all have the handler; both are given as halfwords. Without a
/// handler their vectors lead to no Thumb code. Its session ends with it.
class Program : public HaltedChip
{
public:
    explicit Program(const std::vector<std::uint16_t>& code, const std::vector<std::uint16_t>& handler_code = {0xE7FE},
                     std::string_view version = "BIRCH_M1_VA_REV2")
        : HaltedChip{version}
    {
        poke_word(0, stack);
        poke_word(4, entry + 1);
        for (std::uint32_t vector = 2; vector < handler / 4; ++vector) {
            poke_word(4 * vector, handler + (handler_code.empty() ? 0 : 1));
        }
        put(handler, handler_code);
        put(entry, code);
        EXPECT_GE(JLINKARM_Reset(), 0);
        write_word(debug_faults, ~0U);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program()
    {
        if (JLINKARM_IsOpen() != 0) {
            close_probe();
        }
    }

    /// Lets it run for a millisecond and halts it. Whether it was running until then, or halted (1), asleep (2), locked
    /// up (4).
    static std::uint32_t run()
    {
        JLINKARM_Go();
        JLINKSIM_pass_time(1'000'000);
        const std::uint32_t state = read_word(debug_control) >> 17 & 7;
        EXPECT_EQ(JLINKARM_Halt(), 0);
        return state;
    }

private:
    void put(std::uint32_t address, std::vector<std::uint16_t> halfwords)
    {
        halfwords.resize(halfwords.size() + halfwords.size() % 2, 0xBF00);
        for (std::size_t i = 0; i < halfwords.size(); i += 2) {
            poke_word(address + 2 * static_cast<std::uint32_t>(i),
                      halfwords[i] | std::uint32_t{halfwords[i + 1]} << 16);
        }
    }
};

} // namespace tessit_test
