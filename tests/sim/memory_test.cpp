#include "sim/target_session.h"

#include <array>

namespace tessit_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST(SimulatedMemory, isIdentifiedThroughTheFactoryArea)
{
    struct Case
    {
        const char* version;
        std::uint32_t part, revision, variant, pages;
    };
    const std::array cases{
        Case{"BIRCH_M1_VA_ENGA", 6, 3, 512, 128},
        Case{"BIRCH_M1_VB_REV2", 6, 6, 256, 64},
        Case{"BIRCH_M2_VA_REV1", 8, 2, 512, 256},
        Case{"BIRCH_M3_VA_REV1", 10, 0, 512, 48},
    };
    for (const Case& chip : cases) {
        SCOPED_TRACE(chip.version);
        const TempBench bench = TempBench::with_chip(chip.version);
        connect_halted();
        EXPECT_EQ(read_word(0x10000130), chip.part);
        EXPECT_EQ(read_word(0x10000134), chip.revision);
        EXPECT_EQ(read_word(0x10000110), chip.variant);
        EXPECT_EQ(read_word(0x10000010), 4096U);
        EXPECT_EQ(read_word(0x10000014), chip.pages);
    }
}

TEST(SimulatedMemory, clearsFlashBitsOnlyWhereWritesAreEnabled)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    connect_halted();
    write_word(0x1000, 0);
    EXPECT_EQ(read_word(0x1000), 0xFFFFFFFFU);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("flash-write-disabled: 0x00001000")));

    program_word(0x1000, 0xFFFF00FF);
    program_word(0x1000, 0xFF00FFFF);
    EXPECT_EQ(read_word(0x1000), 0xFF0000FFU);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("flash-bits-not-erased")));
}

} // namespace
} // namespace tessit_test
