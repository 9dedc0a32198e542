#include "base/little_endian.h"
#include "cli/failure.h"
#include "cli/firmware/firmware.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>

// The loadable content of a linked ELF file, at its load addresses (those in flash, also for initialised variables).
//
// It is taken from the sections within the loadable segments: a segment alone may also hold the ELF headers and padding
// that the linker put in front of the first section, and these must not reach the chip. A file whose section table was
// stripped is loaded by segments.
namespace tessit::cli {
namespace {

constexpr std::uint16_t type_relocatable = 1;
constexpr std::uint16_t machine_arm = 40;
constexpr std::uint32_t segment_load = 1;
constexpr std::uint32_t section_no_bits = 8;
constexpr std::uint32_t section_allocated = 2;
constexpr std::uint32_t program_header_size = 32;
constexpr std::uint32_t section_header_size = 40;

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
            refuse(fmt::format("{} at {:#x} reaches beyond the end of the file: it is cut short", what, offset));
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

    bool contains(const Piece& other) const
    {
        return other.offset >= offset && std::uint64_t{other.offset} + other.length <= std::uint64_t{offset} + length;
    }
};

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
    const std::uint32_t table = elf.u32(28);
    const std::uint16_t entry_size = elf.u16(42);
    const std::uint16_t count = elf.u16(44);
    if (count != 0 && entry_size < program_header_size) {
        elf.refuse(fmt::format("its program headers have {} bytes, which is too short", entry_size));
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (std::uint64_t{table} + std::uint64_t{i} * entry_size > std::numeric_limits<std::uint32_t>::max()) {
            elf.refuse("its program headers lie beyond the end of the file");
        }
        const std::uint32_t header = table + i * entry_size;
        elf.slice(header, program_header_size, "a program header");
        const Piece piece{elf.u32(header + 4), elf.u32(header + 16), elf.u32(header + 12)};
        if (elf.u32(header) == segment_load && piece.length != 0) {
            elf.slice(piece.offset, piece.length, fmt::format("segment {}", i));
            pieces.push_back(piece);
        }
    }
    return pieces;
}

// The sections with content that lie within the segments, at the load addresses that the segments give them.
std::vector<Piece> loadable_sections(const ElfFile& elf, const std::vector<Piece>& segments)
{
    std::vector<Piece> pieces;
    const std::uint32_t table = elf.u32(32);
    const std::uint16_t entry_size = elf.u16(46);
    const std::uint16_t count = elf.u16(48);
    if (count != 0 && entry_size < section_header_size) {
        elf.refuse(fmt::format("its section headers have {} bytes, which is too short", entry_size));
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (std::uint64_t{table} + std::uint64_t{i} * entry_size > std::numeric_limits<std::uint32_t>::max()) {
            elf.refuse("its section headers lie beyond the end of the file");
        }
        const std::uint32_t header = table + i * entry_size;
        elf.slice(header, section_header_size, "a section header");
        Piece piece{elf.u32(header + 16), elf.u32(header + 20), 0};
        const bool has_content =
            (elf.u32(header + 8) & section_allocated) != 0 && elf.u32(header + 4) != section_no_bits;
        const auto segment = std::ranges::find_if(segments, [&](const Piece& whole) { return whole.contains(piece); });
        if (has_content && piece.length != 0 && segment != segments.end()) {
            piece.address = segment->address + (piece.offset - segment->offset);
            pieces.push_back(piece);
        }
    }
    return pieces;
}

} // namespace

Image parse_elf(std::span<const std::uint8_t> file, const std::string& name)
{
    const ElfFile elf{file, name};
    require_arm_executable(elf, file);
    const std::vector<Piece> segments = loadable_segments(elf);
    const std::vector<Piece> sections = loadable_sections(elf, segments);

    Image image;
    for (const Piece& piece : sections.empty() ? segments : sections) {
        if (std::uint64_t{piece.address} + piece.length > std::uint64_t{1} << 32) {
            elf.refuse(fmt::format("the content for {:#010x} reaches beyond 4 GiB", piece.address));
        }
        if (const auto taken = image.add(piece.address, elf.slice(piece.offset, piece.length, "a section"))) {
            elf.refuse(fmt::format("two of its sections are loaded to {:#010x}", *taken),
                       "Look at the load addresses in the linker script.");
        }
    }
    return image;
}

} // namespace tessit::cli
