#include "cli/qspi/plan.h"

#include "cli/failure.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <string_view>

namespace tessit::cli::qspi {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kib = 1024;

std::vector<SectorState> sectors(std::string_view text)
{
    std::vector<SectorState> states;
    std::ranges::transform(text, std::back_inserter(states), [](char c) {
        return c == 'E' ? SectorState::erased : c == 'b' ? SectorState::blank : SectorState::kept;
    });
    return states;
}

TEST(QspiErases, AreTheLargestThatFit)
{
    struct Case
    {
        const char* flash; // E erase, b blank, . keep; a block of 64 KiB has sixteen
        std::vector<Erase> erases;
    };
    const Case cases[] = {
        {"................................", {}},
        {"bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb", {}},
        {"EEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEE", {{0, 128 * kib, ERASEALL}}},
        {"................EEEEEEEEEEEEEEEE", {{64 * kib, 64 * kib, ERASE64KB}}},
        {"........EEEEEEEEEEEEEEEE........", {{32 * kib, 32 * kib, ERASE32KB}, {64 * kib, 32 * kib, ERASE32KB}}},
        {".......EEEEEEEEE................", {{28 * kib, 4 * kib, ERASE4KB}, {32 * kib, 32 * kib, ERASE32KB}}},
        // A blank sector may be erased along, but not for the sake of a few.
        {"EbEbEbEbEbEbEbEb................", {{0, 64 * kib, ERASE64KB}}},
        {"EbEbEbEbbbbbbbbb................", {{0, 32 * kib, ERASE32KB}}},
        {"Ebbbbbbbbbbbbbbb................", {{0, 4 * kib, ERASE4KB}}},
        {"bbbbbbbbbbbbbbbbEEEEEEEEEEEEEEEE", {{0, 128 * kib, ERASEALL}}},
        // A flash of a size that was given by hand may end within a block.
        {"................EEEEEEEEE", {{64 * kib, 32 * kib, ERASE32KB}, {96 * kib, 4 * kib, ERASE4KB}}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(plan_erases(sectors(each.flash)), each.erases) << each.flash;
    }
}

class QspiPlan : public testing::Test
{
protected:
    Plan plan(const Image& image, EraseMode mode = EraseMode::blocks)
    {
        return plan_write(image, static_cast<std::uint32_t>(flash.size()), 256, mode, [this](std::uint32_t address) {
            return std::vector<std::uint8_t>(flash.begin() + address, flash.begin() + address + sector_bytes);
        });
    }

    // What the flash holds when the plan has been carried out.
    std::vector<std::uint8_t> carried_out(const Plan& plan) const
    {
        std::vector<std::uint8_t> result = flash;
        for (const Erase& erase : plan.erases) {
            std::fill_n(result.begin() + erase.address, erase.bytes, std::uint8_t{0xFF});
        }
        for (const Segment& write : plan.writes) {
            for (std::size_t i = 0; i < write.bytes.size(); ++i) {
                result[write.address + i] &= write.bytes[i];
            }
        }
        return result;
    }

    static Image image(std::uint32_t address, const std::vector<std::uint8_t>& bytes)
    {
        Image image;
        EXPECT_FALSE(image.add(address, bytes));
        return image;
    }

    static constexpr std::size_t flash_bytes = 131072;
    std::vector<std::uint8_t> flash = std::vector<std::uint8_t>(flash_bytes, 0xFF);
};

TEST_F(QspiPlan, MergesTheNeighboursOfPartlyCoveredSectors)
{
    std::ranges::generate(flash, [value = 1U]() mutable { return static_cast<std::uint8_t>((value *= 48271) >> 16); });
    for (const std::uint32_t length : {1U, 2U, 3U, 5U, 4097U, 70000U}) {
        const Image changes = image(0x1FFD, std::vector<std::uint8_t>(length, 0xA5));
        std::vector<std::uint8_t> expected = flash;
        std::fill_n(expected.begin() + 0x1FFD, length, std::uint8_t{0xA5});
        EXPECT_EQ(carried_out(plan(changes)), expected) << length;
    }
}

TEST_F(QspiPlan, LeavesAloneWhatIsEqualAndErasesOnlyWhereBitsMustBeSet)
{
    std::fill_n(flash.begin() + 0x2000, 0x1000, std::uint8_t{0x0F});
    Image changes = image(0x1000, std::vector<std::uint8_t>(0x300, 0x55));  // onto blank bytes
    EXPECT_FALSE(changes.add(0x2010, std::vector<std::uint8_t>(16, 0x0F))); // there already
    EXPECT_FALSE(changes.add(0x2810, std::vector<std::uint8_t>(16, 0x0E))); // clears bits
    const Plan writes = plan(changes);
    EXPECT_EQ(writes.touched_sectors, 2U);
    EXPECT_THAT(writes.erases, IsEmpty());
    ASSERT_EQ(writes.writes.size(), 2U);
    EXPECT_EQ(writes.writes[0].range(), (Range{0x1000, 0x300}));
    EXPECT_EQ(writes.writes[1].range(), (Range{0x2800, 0x100}));

    const Plan equal = plan(image(0x2010, std::vector<std::uint8_t>(16, 0x0F)));
    EXPECT_EQ(equal.equal_sectors(), 1U);
    EXPECT_THAT(equal.writes, IsEmpty());

    const Image sets_bits = image(0x2020, {0x1F});
    EXPECT_THAT(plan(sets_bits).erases, ElementsAre(Erase{0x2000, 4 * kib, ERASE4KB}));
    EXPECT_THAT(plan(sets_bits, EraseMode::all).erases, ElementsAre(Erase{0, 128 * kib, ERASEALL}));
    EXPECT_THROW(plan(sets_bits, EraseMode::none), Failure);
}

} // namespace
} // namespace tessit::cli::qspi
