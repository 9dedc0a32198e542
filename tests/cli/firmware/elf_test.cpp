// ELF files of a few bytes, laid out as linkers do it.
#include "cli/failure.h"
#include "cli/firmware/firmware.h"

#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using testing::ElementsAreArray;

constexpr std::uint32_t elf_header_size = 52;
constexpr std::uint32_t program_header_size = 32;
constexpr std::uint32_t no_bits = 8;

struct SegmentHeader
{
    std::uint32_t offset;
    std::uint32_t length;
    std::uint32_t address;
};

struct SectionHeader
{
    std::uint32_t offset;
    std::uint32_t length;
    std::uint32_t type = 1;
};

// Every byte of the content tells its place in the file; up to `padding_end` it is zero.
class Elf
{
public:
    Elf(const std::vector<SegmentHeader>& segments, const std::vector<SectionHeader>& sections,
        std::uint32_t padding_end = 0)
        : bytes_(content_end, 0)
    {
        for (std::uint32_t i = padding_end; i < content_end; ++i) {
            bytes_[i] = static_cast<char>(i);
        }
        // magic, 32 bits, little-endian, version; type executable, machine Arm; tables; their sizes
        put(0, {0x464C457F, 0x00010101, 0, 0, 0x00280002, 1, 0, elf_header_size, content_end, 0,
                elf_header_size | program_header_size << 16, static_cast<std::uint32_t>(segments.size()) | 40U << 16,
                static_cast<std::uint32_t>(sections.size())});
        std::uint32_t at = elf_header_size;
        for (const SegmentHeader& segment : segments) {
            put(at, {1, segment.offset, segment.address, segment.address, segment.length, segment.length, 5, 4});
            at += program_header_size;
        }
        at = content_end;
        for (const SectionHeader& section : sections) {
            put(at, {0, section.type, 2, 0, section.offset, section.length, 0, 0, 4, 0});
            at += 40;
        }
    }

    std::string& bytes() { return bytes_; }
    Image parse() const
    {
        return parse_elf({reinterpret_cast<const std::uint8_t*>(bytes_.data()), bytes_.size()}, "a");
    }

    static Segment content(std::uint32_t address, std::uint32_t offset, std::uint32_t length)
    {
        Segment segment{address, {}};
        for (std::uint32_t i = 0; i < length; ++i) {
            segment.bytes.push_back(static_cast<std::uint8_t>(offset + i));
        }
        return segment;
    }

private:
    static constexpr std::uint32_t content_end = 0x200;

    void put(std::uint32_t at, const std::vector<std::uint32_t>& words)
    {
        bytes_.resize(std::max<std::size_t>(bytes_.size(), at + 4 * words.size()));
        for (const std::uint32_t word : words) {
            for (int byte = 0; byte < 4; ++byte) {
                bytes_[at++] = static_cast<char>(word >> (8 * byte));
            }
        }
    }

    std::string bytes_;
};

TEST(ElfFile, EverySegmentIsLoadedAndOnlyTheFilesHeadersAreNot)
{
    struct Case
    {
        const char* name;
        Elf elf;
        std::vector<Segment> loaded;
    };
    const Case cases[] = {
        {"a segment without a section beside one with",
         {{{0x100, 0x10, 0x0}, {0x180, 0x20, 0x1000}}, {{0x100, 0x10}}},
         {Elf::content(0, 0x100, 0x10), Elf::content(0x1000, 0x180, 0x20)}},
        {"a section that covers a part of its segment",
         {{{0x100, 0x40, 0x8000}}, {{0x110, 0x10}}},
         {Elf::content(0x8000, 0x100, 0x40)}},
        {"headers and padding in front of the first section",
         {{{0, 0x120, 0x8000}}, {{0x110, 0x8}, {0x100, 0x10}}, 0x100},
         {Elf::content(0x8100, 0x100, 0x20)}},
        {"data between the headers and the first section",
         {{{0, 0x120, 0x8000}}, {{0x100, 0x20}}},
         {Elf::content(0x8000 + 84, 84, 0x120 - 84)}},
        {"a segment of nothing but headers",
         {{{0, 116, 0x8000}, {0x100, 0x10, 0x9000}}, {{0x100, 0x10}}},
         {Elf::content(0x9000, 0x100, 0x10)}},
        {"no section table", {{{0x100, 0x40, 0x8000}}, {}}, {Elf::content(0x8000, 0x100, 0x40)}},
        {"a section without content in the file",
         {{{0x100, 0x10, 0x0}, {0x180, 0, 0x20000000}}, {{0x100, 0x10}, {0x180, 0x40, no_bits}}},
         {Elf::content(0, 0x100, 0x10)}},
    };
    for (const Case& each : cases) {
        EXPECT_THAT(each.elf.parse().segments(), ElementsAreArray(each.loaded)) << each.name;
    }
}

TEST(ElfFile, WhatCannotBeLoadedIsRefused)
{
    const std::pair<std::size_t, char> changes[] = {{0, 0}, {4, 2}, {16, 1}, {18, 3}, {42, 8}, {46, 8}};
    for (const auto& [offset, byte] : changes) { // magic, 64 bits, not linked, other machine, short headers
        Elf elf{{{0x100, 0x40, 0}}, {{0x100, 0x40}}};
        elf.bytes()[offset] = byte;
        EXPECT_THROW(elf.parse(), Failure) << offset;
    }
    EXPECT_THROW((Elf{{{0x100, 0x40, 0}, {0x140, 0x40, 0x20}}, {}}.parse()), Failure); // one over the other
    EXPECT_THROW((Elf{{{0x100, 0x40, 0xFFFFFFF0}}, {}}.parse()), Failure);
}

TEST(ElfFile, AFileThatIsCutShortOrChangedIsRefusedOrReadButNeverHarms)
{
    const Elf whole{{{0, 0x120, 0x8000}}, {{0x100, 0x20}}};
    const std::size_t size = Elf{whole}.bytes().size();
    for (std::size_t length = 0; length < size; ++length) {
        Elf cut = whole;
        cut.bytes().resize(length);
        EXPECT_THROW(cut.parse(), Failure) << length;
    }
    for (std::size_t i = 0; i < elf_header_size + program_header_size; ++i) {
        Elf changed = whole;
        changed.bytes()[i] = static_cast<char>(~changed.bytes()[i]);
        try {
            changed.parse();
        } catch (const Failure&) {
            continue;
        }
    }
}

} // namespace
} // namespace tessit::cli
