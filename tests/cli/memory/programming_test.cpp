// Planning and programming over memories in this process: what is erased, what is read, and what they hold in the end.
#include "cli/memory/crc32.h"
#include "cli/memory/eraser.h"
#include "cli/memory/programmer.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <string_view>

#if defined(__SANITIZE_ADDRESS__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // compilers do not ship its header
#else
#include <malloc.h>
#endif

namespace tessit::cli {
namespace {

using testing::Each;
using testing::SizeIs;

constexpr std::size_t kib = 1024;
constexpr std::uint32_t unit_bytes = 4 * kib;

std::size_t allocated_bytes()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks + mallinfo2().hblkhd;
#endif
}

std::uint8_t noise(std::uint32_t seed)
{
    return static_cast<std::uint8_t>((seed + 1) * 2654435761U >> 24);
}

// A flash of 4 KiB pages and a page of configuration after it, which goes only with everything.
class ProgrammingTest : public testing::Test
{
protected:
    ProgrammingTest()
    {
        add_memory("flash", {0, flash_bytes}, {{unit_bytes, 85e-3}});
        add_memory("UICR", {flash_bytes, unit_bytes}, {});
        device.name = "the chip";
        device.erase_all_seconds = 169e-3;
        device.erase_all = [this] {
            ++erases_of_all;
            erase({0, bytes.size()});
        };
        device.lift_protection = [this] { protected_units.clear(); };
    }

    void add_memory(const char* name, const Range& range, std::vector<EraseBlock> blocks)
    {
        Memory memory;
        memory.traits = {.name = name,
                         .range = range,
                         .unit_bytes = unit_bytes,
                         .write_bytes = 4,
                         .bridge_bytes = 256,
                         .blocks = std::move(blocks),
                         .read_cost = {.5e-3, 2.9e-6},
                         .write_cost = {1e-3, 13e-6}};
        memory.read = [this](std::uint32_t address, std::span<std::uint8_t> found, const ChunkDone&) {
            bytes_read += found.size();
            most_allocated = std::max(most_allocated, allocated_bytes());
            std::copy_n(bytes.begin() + address, found.size(), found.begin());
        };
        memory.write = [this](std::uint32_t address, std::span<const std::uint8_t> data, const ChunkDone&) {
            for (const std::uint8_t byte : data) {
                bytes[address] &= is_protected(address) ? std::uint8_t{0xFF} : byte;
                ++address;
            }
        };
        memory.erase = [this](const Range& block) {
            ++erases_of_pages;
            erase(block);
        };
        device.memories.push_back(std::move(memory));
    }

    void offer_checksums()
    {
        for (Memory& memory : device.memories) {
            memory.traits.check_cost = {5e-3, 66e-9};
        }
        device.checksums = [this](std::span<const Range> ranges) {
            std::vector<std::uint32_t> checksums;
            for (const Range& range : ranges) {
                checksums.push_back(crc32(std::span{bytes}.subspan(range.first, range.length)));
            }
            return std::optional{checksums};
        };
    }

    bool is_protected(std::uint32_t address) const
    {
        return std::ranges::find(protected_units, address / unit_bytes) != protected_units.end();
    }
    void erase(const Range& range)
    {
        for (std::uint64_t at = range.first; at < range.end(); ++at) {
            bytes[at] = is_protected(static_cast<std::uint32_t>(at)) ? bytes[at] : 0xFF;
        }
    }

    static Image image(std::uint32_t address, std::size_t length, std::uint32_t seed = 1)
    {
        std::vector<std::uint8_t> data(length);
        for (std::size_t i = 0; i < length; ++i) {
            data[i] = noise(seed * 7919 + address + static_cast<std::uint32_t>(i));
        }
        Image image;
        EXPECT_FALSE(image.add(address, data));
        return image;
    }
    std::vector<std::uint8_t> page(std::size_t index) const
    {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(index * unit_bytes);
        return {first, first + unit_bytes};
    }
    void hold(const Image& image) { image.overlay({0, bytes.size()}, bytes); }

    // Programs, and checks that the image is there and everything around it as it was.
    Plan program(const Image& image, EraseMode mode = EraseMode::needed)
    {
        std::vector<std::uint8_t> expected = bytes;
        image.overlay({0, bytes.size()}, expected);
        erases_of_all = erases_of_pages = bytes_read = 0;
        Plan plan = plan_programming(device, image, mode, narration);
        looked_at = bytes_read;
        result = execute(device, plan, true, narration);
        EXPECT_TRUE(bytes == expected);
        return plan;
    }

    static constexpr std::uint32_t flash_bytes = 512 * kib;
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(flash_bytes + unit_bytes, 0xFF);
    std::vector<std::uint32_t> protected_units;
    Console console;
    Clock clock;
    Narration narration{console, clock};
    Device device;
    ProgramResult result;
    std::size_t erases_of_all = 0;
    std::size_t erases_of_pages = 0;
    std::size_t bytes_read = 0;
    std::size_t looked_at = 0;
    std::size_t most_allocated = 0;
};

TEST_F(ProgrammingTest, TakesTheCheapestWayFromWhatIsThere)
{
    struct Case
    {
        const char* name;
        std::uint32_t old_bytes; // of another image, from the start on
        std::uint32_t image_bytes;
        std::uint32_t same_bytes; // of the image's end are there already
        std::size_t erases_of_all;
        std::size_t erases_of_pages;
        std::size_t looked_at; // at most
    };
    const Case cases[] = {
        {"blank, whole flash", 0, flash_bytes, 0, 1, 0, 8 * kib},
        {"blank, a part", 0, flash_bytes / 4, 0, 0, 0, flash_bytes / 4 + kib},
        {"unchanged", 0, flash_bytes, flash_bytes, 0, 0, flash_bytes + kib},
        {"one page", unit_bytes, flash_bytes, flash_bytes - unit_bytes, 0, 1, flash_bytes + kib},
        {"half, whole flash", flash_bytes / 2, flash_bytes, flash_bytes / 2, 1, 0, 8 * kib},
        {"all changed", flash_bytes, flash_bytes, 0, 1, 0, 8 * kib},
        {"half, the rest blank", flash_bytes / 2, flash_bytes / 2, 0, 1, 0, flash_bytes / 2 + 8 * kib},
        {"half, the rest used", flash_bytes, flash_bytes / 2, 0, 0, 64, flash_bytes},
        {"much changed, the rest used", flash_bytes, flash_bytes * 3 / 4, flash_bytes / 4, 0, 64, flash_bytes},
    };
    for (const bool has_checksums : {false, true}) {
        if (has_checksums) {
            offer_checksums();
        }
        for (const Case& each : cases) {
            SCOPED_TRACE(testing::Message() << each.name << (has_checksums ? ", with checksums" : ""));
            std::ranges::fill(bytes, std::uint8_t{0xFF});
            hold(image(0, each.old_bytes, 2));
            const Image wanted = image(0, each.image_bytes);
            const std::uint32_t same = each.image_bytes - each.same_bytes;
            wanted.overlay({same, each.same_bytes}, std::span{bytes}.subspan(same, each.same_bytes));
            program(wanted);
            const bool is_known_blank = has_checksums && each.old_bytes == 0 && each.same_bytes == 0;
            EXPECT_EQ(erases_of_all, is_known_blank ? 0 : each.erases_of_all);
            EXPECT_EQ(erases_of_pages, each.erases_of_pages);
            EXPECT_LE(looked_at, has_checksums ? unit_bytes + kib : each.looked_at);
            EXPECT_LE(bytes_read - looked_at, has_checksums ? kib : each.image_bytes + kib) << "to compare";
        }
    }
}

TEST_F(ProgrammingTest, CountsWhatChangedOnlyWhereItLooked)
{
    hold(image(0, flash_bytes));
    EXPECT_EQ(program(image(0, flash_bytes)).changed_units, 0U);
    EXPECT_EQ(program(image(5000, 6000, 3)).changed_units, 2U);
    EXPECT_EQ(program(image(0, flash_bytes, 4)).changed_units, std::nullopt);
}

TEST_F(ProgrammingTest, NeighboursStayWhereverAnImageBeginsAndEnds)
{
    hold(image(0, flash_bytes));
    for (const std::uint32_t length : {1U, 2U, 3U, 5U, 4097U, 70000U}) {
        program(image(0x1FFD, length, length));
    }
    hold(image(flash_bytes, 8, 5)); // a word of the UICR: not even a whole image may cost it
    program(image(0, flash_bytes, 6));
    EXPECT_EQ(erases_of_all, 0U);
}

TEST_F(ProgrammingTest, HoldsNoSecondCopyOfTheImage)
{
    hold(image(0, flash_bytes, 2));
    bytes[0] = 0xFF; // looked at until it is clear that everything goes
    const Image wanted = image(0, flash_bytes);
    const std::size_t before = allocated_bytes();
    const Plan plan = plan_programming(device, wanted, EraseMode::needed, narration);
    execute(device, plan, true, narration);
    EXPECT_LT(most_allocated - before, flash_bytes / 2) << "buffers of 64 KiB, and what is known of the units";
}

TEST_F(ProgrammingTest, WritesOnlyWhatDiffers)
{
    std::fill_n(bytes.begin() + 0x2000, 0x1000, std::uint8_t{0x0F});
    Image changes;
    EXPECT_FALSE(changes.add(0x1000, std::vector<std::uint8_t>(0x300, 0x55))); // onto blank bytes
    EXPECT_FALSE(changes.add(0x2010, std::vector<std::uint8_t>(16, 0x0F)));    // there already
    EXPECT_FALSE(changes.add(0x2810, std::vector<std::uint8_t>(16, 0x0E)));    // clears bits
    const Plan plan = program(changes);
    ASSERT_THAT(plan.writes, SizeIs(2));
    EXPECT_EQ(plan.writes[0].range, (Range{0x1000, 0x300}));
    EXPECT_EQ(plan.writes[1].range, (Range{0x2810, 0x10}));

    Image sets_bits;
    EXPECT_FALSE(sets_bits.add(0x2020, std::vector<std::uint8_t>{0x1F}));
    const std::vector<std::uint8_t> before = bytes;
    EXPECT_THROW(program(sets_bits, EraseMode::none), Failure);
    bytes[flash_bytes] = 0;
    EXPECT_THROW(program(image(flash_bytes, 4)), Failure) << "the UICR is not erased unasked";
    bytes[flash_bytes] = 0xFF;
    EXPECT_TRUE(bytes == before);
}

TEST_F(ProgrammingTest, WhatHadNoEffectIsDoneAgainAfterTheProtectionIsLifted)
{
    struct Case
    {
        const char* name;
        std::uint32_t old_bytes;
        std::uint32_t protected_unit;
    };
    for (const auto& [name, old_bytes, unit] : {Case{"an erase, seen", 2 * unit_bytes, 1},
                                                Case{"an erase, unseen", flash_bytes, 77}, Case{"a write", 0, 1}}) {
        SCOPED_TRACE(name);
        std::ranges::fill(bytes, std::uint8_t{0xFF});
        hold(image(0, old_bytes, 2));
        protected_units = {unit};
        program(image(0, old_bytes == 0 ? 3 * unit_bytes : old_bytes));
        EXPECT_TRUE(result.protection_was_lifted);
    }
    const std::vector<Piece> page_5{{&device.memories[0], device.memories[0].traits.unit(5)}};
    for (const bool by_page : {true, false}) {
        hold(image(0, flash_bytes));
        protected_units = {5, 6};
        const EraseResult erased = by_page ? erase_blocks(device, page_5, true, narration)
                                           : erase_everything(device, device.erase_all, narration);
        EXPECT_TRUE(erased.protection_was_lifted);
        EXPECT_THAT(page(5), Each(0xFF));
    }
    device.lift_protection = {};
    hold(image(0, flash_bytes));
    protected_units = {5};
    EXPECT_THROW(erase_everything(device, device.erase_all, narration), Failure);
    EXPECT_THROW(erase_blocks(device, page_5, true, narration), Failure);
}

TEST(CheapestErases, AreTheBlocksWithTheLeastTime)
{
    struct Case
    {
        const char* flash; // U unwritable, b blank, . kept; a block of 64 KiB has sixteen
        std::vector<Range> blocks;
    };
    const Case cases[] = {
        {"................................", {}},
        {"bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb", {}},
        {"................UUUUUUUUUUUUUUUU", {{64 * kib, 64 * kib}}},
        {"........UUUUUUUUUUUUUUUU........", {{32 * kib, 32 * kib}, {64 * kib, 32 * kib}}},
        {".......UUUUUUUUU................", {{28 * kib, 4 * kib}, {32 * kib, 32 * kib}}},
        // A blank sector may be erased along, where that saves time.
        {"UbUbUbUbUbUbUbUb................", {{0, 64 * kib}}},
        {"UbUbUbUbbbbbbbbb................", {{0, 32 * kib}}},
        {"Ubbbbbbbbbbbbbbb................", {{0, 4 * kib}}},
        {"bbbbbbbbbbbbbbbbUUUUUUUUUUUUUUUU", {{64 * kib, 64 * kib}}},
        // A flash of a size that was given by hand may end within a block.
        {"................UUUUUUUUU", {{64 * kib, 32 * kib}, {96 * kib, 4 * kib}}},
    };
    const auto state_of = [](char c) {
        return c == 'U' ? UnitState::unwritable : c == 'b' ? UnitState::free : UnitState::kept;
    };
    for (const Case& each : cases) {
        const std::string_view flash{each.flash};
        Memory memory;
        memory.traits.range = {0, flash.size() * unit_bytes};
        memory.traits.unit_bytes = unit_bytes;
        memory.traits.blocks = {{64 * kib, .150}, {32 * kib, .120}, {4 * kib, .045}};
        UnitMap map{&memory, {}};
        std::ranges::transform(flash, std::back_inserter(map.units),
                               [&](char c) { return Unit{.state = state_of(c)}; });
        std::vector<Range> blocks;
        std::ranges::transform(cheapest_erases({&map, 1}, .300).blocks, std::back_inserter(blocks), &Piece::range);
        EXPECT_EQ(blocks, each.blocks) << each.flash;
    }
    UnitMap all{nullptr, std::vector<Unit>(32, Unit{.state = UnitState::unwritable})};
    Memory memory;
    memory.traits.unit_bytes = unit_bytes;
    memory.traits.blocks = {{64 * kib, .150}, {4 * kib, .045}};
    all.memory = &memory;
    EXPECT_TRUE(cheapest_erases({&all, 1}, 2 * .150).everything) << "of equal costs the fewer calls";
}

} // namespace
} // namespace tessit::cli
