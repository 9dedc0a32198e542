/// The CPU and a stretch of RAM, lent to another program: kept as they are, and given back.
#pragma once

#include "cli/session/target.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tessit::cli {

/// Halts the CPU. Unless they are given back or the chip is reset, the firmware cannot go on.
class CpuLoan
{
public:
    CpuLoan(const Target& target, const Range& ram);

    /// The borrower's program can run: privileged, on the main stack, interrupts masked, its vector table in force, and
    /// whatever resets the chip meanwhile halts the CPU at once.
    void take_over(std::uint32_t vector_table) const;

    /// Every byte and register is what it was.
    void give_back() const;
    /// After a reset: the CPU is to stand where the reset handler of what is in flash now begins.
    void give_back_at_reset_handler() const;

private:
    struct Register
    {
        cpu_register_t name;
        std::uint32_t value;
    };

    std::uint32_t read_special() const;
    void write_special(std::uint32_t value) const;

    const Target& target_;
    Range ram_;
    std::vector<std::uint8_t> ram_bytes_;
    std::vector<Register> registers_;
    std::uint32_t special_;
    std::uint32_t vector_table_;
    std::uint32_t monitor_;
};

} // namespace tessit::cli
