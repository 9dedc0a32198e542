#pragma once

#include "sim/cpu/unicorn_cpu.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <vector>

namespace jlinksim {

struct Access
{
    enum class Kind
    {
        read,
        write
    };
    Kind kind;
    std::uint32_t address;
    unsigned width;
    std::uint32_t value;

    bool operator==(const Access&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Access& access)
{
    return out << (access.kind == Access::Kind::read ? "read" : "write") << std::hex << " 0x" << access.address
               << " width " << access.width << " value 0x" << access.value;
}

/// A CPU with flash at 0, RAM at 0x20000000 and a bus that keeps a list. Peripherals at 0x40000000 answer a read with
/// the bytes of its address; a write to flash clears bits; everything else is refused.
class Board : public CpuBus
{
public:
    static constexpr std::uint32_t ram_base = 0x20000000;
    static constexpr std::uint32_t peripherals = 0x40000000;
    static constexpr std::uint32_t nowhere = 0x30000000;
    static constexpr std::uint32_t stack = ram_base + 0x4000;

    Board() : flash(0x10000, 0xFF), ram(0x4000, 0), cpu(*this)
    {
        cpu.set_memories(memories());
        cpu.reset(stack, 1);
    }

    std::vector<DirectMemory> memories()
    {
        return {{.base = 0, .bytes = flash, .writable = false}, {.base = ram_base, .bytes = ram, .writable = true}};
    }

    bool cpu_read(std::uint32_t address, unsigned width, std::uint32_t& value) override
    {
        value = address & (~0U >> (32U - 8U * width));
        accesses.push_back({Access::Kind::read, address, width, value});
        return is_peripheral(address);
    }

    bool cpu_write(std::uint32_t address, unsigned width, std::uint32_t value) override
    {
        accesses.push_back({Access::Kind::write, address, width, value});
        if (address + width <= flash.size()) {
            for (unsigned i = 0; i < width; ++i) {
                flash[address + i] &= static_cast<std::uint8_t>(value >> (8U * i));
            }
            cpu.code_changed(address, width);
            return true;
        }
        return is_peripheral(address);
    }

    /// Write code as the host does, and say so.
    void put(std::uint32_t address, const std::vector<unsigned>& halfwords)
    {
        const std::uint32_t begin = address;
        for (const unsigned halfword : halfwords) {
            byte(address++) = static_cast<std::uint8_t>(halfword);
            byte(address++) = static_cast<std::uint8_t>(halfword >> 8U);
        }
        cpu.code_changed(begin, address - begin);
    }

    void put_word(std::uint32_t address, std::uint32_t word) { put(address, {word & 0xFFFFU, word >> 16U}); }

    std::uint32_t word(std::uint32_t address)
    {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < 4; ++i) {
            value |= std::uint32_t{byte(address + i)} << (8U * i);
        }
        return value;
    }

    std::uint32_t pc() const { return cpu.read_register(cpu_register::pc); }
    std::uint32_t xpsr() const { return cpu.read_register(cpu_register::xpsr); }
    std::uint32_t r(unsigned index) const { return cpu.read_register(index); }
    void set_pc(std::uint32_t value) { cpu.write_register(cpu_register::pc, value); }
    void set_r(unsigned index, std::uint32_t value) { cpu.write_register(index, value); }

    std::vector<std::uint8_t> flash;
    std::vector<std::uint8_t> ram;
    std::vector<Access> accesses;
    UnicornCpu cpu;

private:
    static bool is_peripheral(std::uint32_t address) { return address >= peripherals && address < 0x50000000; }
    std::uint8_t& byte(std::uint32_t address)
    {
        return address < ram_base ? flash.at(address) : ram.at(address - ram_base);
    }
};

} // namespace jlinksim
