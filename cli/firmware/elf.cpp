#include "base/little_endian.h"
#include "cli/failure.h"
#include "cli/firmware/firmware.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>

// The loadable content of a linked ELF file, at its load addresses (those in flash, also for initialised variables).
//
// It is what the loadable segments hold, whether or not a section tells of it. Only what a linker put in front of the
// first section, because the file's own headers happened to fit into the segment, must not reach the chip.
namespace tessit::cli {
namespace {

constexpr std::uint16_t type_relocatable = 1;
constexpr std::uint16_t machine_arm = 40;
constexpr std::uint32_t segment_load = 1;
constexpr std::uint32_t section_no_bits = 8;
constexpr std::uint32_t section_allocated = 2;

class ElfFile
{
public:
    ElfFile(std::span<const std::uint8_t> bytes, const std::string& name) : bytes_{bytes}, name_{name} {}

    [[noreturn]] void refuse(const std::string& reason, const std::string& hint = {}) const
    {
        throw Failure{ExitCode::failure, fmt::format("{}: {}", name_, reason),
                      hint.empty() ? "The file is damaged; link or copy it again." : hint};
    }

    std::span<const std::uint8_t> slice(std::uint32_t offset, std::uint32_t length, std::string_view what) const
    {
        if (std::uint64_t{offset} + length > bytes_.size()) {
            refuse(fmt::format("{} at {:#x} reaches beyond the end of the file, which is cut short", what, offset));
        }
        return bytes_.subspan(offset, length);
    }

    std::uint32_t u32(std::uint32_t offset) const { return little_endian::load_u32(slice(offset, 4, "a header")); }
    std::uint16_t u16(std::uint32_t offset) const { return little_endian::load_u16(slice(offset, 2, "a header")); }

private:
    std::span<const std::uint8_t> bytes_;
    const std::string& name_;
};

struct Piece
{
    std::uint32_t offset = 0; // in the file
    std::uint32_t length = 0;
    std::uint32_t address = 0; // where it is loaded

    std::uint64_t end() const { return std::uint64_t{offset} + length; }
};

// A table of headers: where it is, and how many entries of which size it has.
struct Table
{
    std::uint32_t offset;
    std::uint16_t entry_size;
    std::uint16_t count;

    std::uint64_t end() const { return std::uint64_t{offset} + std::uint64_t{count} * entry_size; }
};

Table read_table(const ElfFile& elf, std::uint32_t offset_field, std::uint32_t size_field, std::uint32_t least,
                 const char* name)
{
    const Table table{elf.u32(offset_field), elf.u16(size_field), elf.u16(size_field + 2)};
    if (table.count != 0 && table.entry_size < least) {
        elf.refuse(fmt::format("its {} headers have {} bytes, which is too short", name, table.entry_size));
    }
    if (table.end() > std::numeric_limits<std::uint32_t>::max()) {
        elf.refuse(fmt::format("its {} headers lie beyond the end of the file", name));
    }
    elf.slice(table.offset, std::uint32_t{table.count} * table.entry_size, fmt::format("its {} headers", name));
    return table;
}

Table program_headers(const ElfFile& elf)
{
    return read_table(elf, 28, 42, 32, "program");
}

void require_arm_executable(const ElfFile& elf, std::span<const std::uint8_t> bytes)
{
    constexpr std::array<std::uint8_t, 4> magic{0x7F, 'E', 'L', 'F'};
    if (bytes.size() < magic.size() || !std::equal(magic.begin(), magic.end(), bytes.begin())) {
        elf.refuse("this is not an ELF file");
    }
    const auto identification = elf.slice(0, 16, "the ELF header");
    const std::string hint = "Link it for a Cortex-M with arm-none-eabi-gcc.";
    if (identification[4] != 1 || identification[5] != 1) {
        elf.refuse("this is an ELF file, but not of 32 bits and little-endian", hint);
    }
    if (const std::uint16_t machine = elf.u16(18); machine != machine_arm) {
        elf.refuse(fmt::format("this is an ELF file for another machine ({}) than Arm ({})", machine, machine_arm),
                   hint);
    }
    if (elf.u16(16) == type_relocatable) {
        elf.refuse("this is an object file that is not linked yet", hint);
    }
}

std::vector<Piece> loadable_segments(const ElfFile& elf)
{
    std::vector<Piece> pieces;
    const Table table = program_headers(elf);
    for (std::uint32_t i = 0; i < table.count; ++i) {
        const std::uint32_t header = table.offset + i * table.entry_size;
        const Piece piece{elf.u32(header + 4), elf.u32(header + 16), elf.u32(header + 12)};
        if (elf.u32(header) == segment_load && piece.length != 0) {
            elf.slice(piece.offset, piece.length, fmt::format("segment {}", i));
            pieces.push_back(piece);
        }
    }
    return pieces;
}

// Where in the file the sections begin whose content is loaded, in ascending order.
std::vector<std::uint32_t> section_offsets(const ElfFile& elf)
{
    std::vector<std::uint32_t> offsets;
    const Table table = read_table(elf, 32, 46, 40, "section");
    for (std::uint32_t i = 0; i < table.count; ++i) {
        const std::uint32_t header = table.offset + i * table.entry_size;
        const bool is_loaded = (elf.u32(header + 8) & section_allocated) != 0 && elf.u32(header + 4) != section_no_bits;
        if (is_loaded && elf.u32(header + 20) != 0) {
            offsets.push_back(elf.u32(header + 16));
        }
    }
    std::ranges::sort(offsets);
    return offsets;
}

std::uint32_t end_of_headers(const ElfFile& elf)
{
    constexpr std::uint32_t elf_header_size = 52;
    const Table table = program_headers(elf);
    return table.offset == elf_header_size ? static_cast<std::uint32_t>(table.end()) : elf_header_size;
}

// Where the content begins of a segment that also holds the file's headers: after them and the padding up to the first
// section. What is not zero there is no padding.
std::uint32_t content_offset(const ElfFile& elf, const Piece& segment, const std::vector<std::uint32_t>& sections)
{
    const std::uint32_t headers = end_of_headers(elf);
    if (sections.empty() || segment.offset >= headers) {
        return segment.offset;
    }
    if (segment.end() <= headers) {
        return segment.offset + segment.length;
    }
    const auto first = std::ranges::find_if(sections, [headers](std::uint32_t offset) { return offset >= headers; });
    if (first == sections.end() || *first >= segment.end()) {
        return headers;
    }
    const auto before = elf.slice(headers, *first - headers, "padding");
    const bool is_padding = std::ranges::all_of(before, [](std::uint8_t byte) { return byte == 0; });
    return is_padding ? *first : headers;
}

Piece without_headers(const ElfFile& elf, const Piece& segment, const std::vector<std::uint32_t>& sections)
{
    const std::uint32_t skipped = content_offset(elf, segment, sections) - segment.offset;
    return {segment.offset + skipped, segment.length - skipped, segment.address + skipped};
}

} // namespace

Image parse_elf(std::span<const std::uint8_t> file, const std::string& name)
{
    const ElfFile elf{file, name};
    require_arm_executable(elf, file);
    const std::vector<std::uint32_t> sections = section_offsets(elf);

    Image image;
    for (const Piece& segment : loadable_segments(elf)) {
        const Piece piece = without_headers(elf, segment, sections);
        if (std::uint64_t{piece.address} + piece.length > std::uint64_t{1} << 32) {
            elf.refuse(fmt::format("the content for {:#010x} reaches beyond 4 GiB", piece.address));
        }
        if (const auto taken = image.add(piece.address, elf.slice(piece.offset, piece.length, "a segment"))) {
            elf.refuse(fmt::format("two of its segments are loaded to {:#010x}", *taken),
                       "Look at the load addresses in the linker script.");
        }
    }
    return image;
}

} // namespace tessit::cli
