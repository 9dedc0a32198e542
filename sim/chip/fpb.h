#pragma once

#include "sim/device/register_block.h"

#include <cstdint>
#include <vector>

namespace jlinksim {

/// The flash patch and breakpoint unit: six breakpoints in code memory. It patches nothing.
class Fpb final : public RegisterBlock<Fpb>
{
public:
    static constexpr std::uint32_t base = 0xE0002000;
    static constexpr std::uint32_t bytes = 0x1000;
    static const std::span<const Register<Fpb>> table;

    Fpb(std::span<std::uint32_t> words, Records& records);

    /// Addresses of halfwords that are not to be executed.
    std::vector<std::uint32_t> breakpoints() const;

private:
    friend struct FpbTable;

    void write_control(std::uint32_t value, unsigned index);
};

} // namespace jlinksim
