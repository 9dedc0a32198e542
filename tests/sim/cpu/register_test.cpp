#include "sim/cpu/cpu.h"
#include "sim/cpu/register_file_cpu.h"
#if defined(JLINKSIM_CPU_UNICORN)
#include "sim/cpu/unicorn_cpu.h"
#endif

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace jlinksim {
namespace {

class NoBus : public CpuBus
{
public:
    bool cpu_read(std::uint32_t, unsigned, std::uint32_t&) override { return false; }
    bool cpu_write(std::uint32_t, unsigned, std::uint32_t) override { return false; }
};

class CpuRegisters : public testing::Test
{
public:
    CpuRegisters()
    {
        engines.push_back(std::make_unique<RegisterFileCpu>());
#if defined(JLINKSIM_CPU_UNICORN)
        engines.push_back(std::make_unique<UnicornCpu>(bus));
#endif
    }

    NoBus bus;
    std::vector<std::unique_ptr<Cpu>> engines;
};

TEST_F(CpuRegisters, StartFromTheVectorTable)
{
    const std::vector<std::uint32_t> expected{0, 0, 0, 0,          0,          0,     0,          0,          0, 0,
                                              0, 0, 0, 0x20004000, 0xFFFFFFFF, 0x100, 0x01000000, 0x20004000, 0};
    for (const auto& cpu : engines) {
        for (unsigned i = 0; i < cpu_register_count; ++i) {
            cpu->write_register(i, 0xA5A5A5A5);
        }
        cpu->reset(0x20004003, 0x00000101);
        for (unsigned i = 0; i < cpu_register_count; ++i) {
            EXPECT_EQ(cpu->read_register(i), expected[i]) << "register " << i;
        }
        EXPECT_EQ(cpu->run(0).instructions, 0);
        EXPECT_EQ(cpu->read_register(cpu_register::pc), 0x100);
        cpu->reset(0x20004000, 0x00000100);
        EXPECT_EQ(cpu->read_register(cpu_register::xpsr), 0) << "a vector without the Thumb bit";
        EXPECT_EQ(cpu->read_register(cpu_register::pc), 0x100);
    }
}

TEST_F(CpuRegisters, AreSeparateAndKeepWhatTheHardwareHolds)
{
    const std::vector<std::pair<unsigned, std::uint32_t>> kept{
        {cpu_register::pc, 0xFFFFFFFE},  {cpu_register::sp, 0xFFFFFFFC},   {cpu_register::msp, 0xFFFFFFFC},
        {cpu_register::psp, 0xFFFFFFFC}, {cpu_register::xpsr, 0xFF0FFDFF}, {12, 0xFFFFFFFF},
    };
    for (const auto& cpu : engines) {
        cpu->reset(0x20004000, 0x101);
        for (unsigned i = 0; i < cpu_register_count; ++i) {
            cpu->write_register(i, 0xF1000000 + 0x1010101 * i);
        }
        for (unsigned i = 0; i < cpu_register_count; ++i) {
            // R13 is the main stack pointer, which has been written later.
            const unsigned written = i == cpu_register::sp ? unsigned{cpu_register::msp} : i;
            EXPECT_EQ(cpu->read_register(i), cpu_register::writable_part(i, 0xF1000000 + 0x1010101 * written)) << i;
        }
        for (const auto& [index, value] : kept) {
            cpu->write_register(index, 0xFFFFFFFF);
            EXPECT_EQ(cpu->read_register(index), value) << "register " << index;
        }
    }
}

TEST(RegisterFileCpu, SpendsTheBudgetAndStaysWhereItIs)
{
    RegisterFileCpu cpu;
    cpu.reset(0x20004000, 0x101);
    EXPECT_EQ(cpu.run(1000).instructions, 1000);
    EXPECT_EQ(cpu.read_register(cpu_register::pc), 0x100);
    EXPECT_FALSE(cpu.executes());
}

TEST(MakeCpu, GivesTheEngineOfTheBuild)
{
    NoBus bus;
#if defined(JLINKSIM_CPU_UNICORN)
    EXPECT_TRUE(make_cpu(bus)->executes());
#else
    EXPECT_FALSE(make_cpu(bus)->executes());
#endif
}

} // namespace
} // namespace jlinksim
