#include "cli/firmware/firmware.h"

#include "base/path.h"
#include "cli/failure.h"
#include "cli/firmware/file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fmt/format.h>
#include <optional>
#include <string_view>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

enum class Format
{
    intel_hex,
    srecord,
    elf,
    binary
};

struct Ending
{
    std::string_view text;
    Format format;
};

constexpr std::array endings{
    Ending{".hex", Format::intel_hex}, Ending{".ihex", Format::intel_hex}, Ending{".ihx", Format::intel_hex},
    Ending{".srec", Format::srecord},  Ending{".s19", Format::srecord},    Ending{".s28", Format::srecord},
    Ending{".s37", Format::srecord},   Ending{".mot", Format::srecord},    Ending{".elf", Format::elf},
    Ending{".axf", Format::elf},       Ending{".out", Format::elf},        Ending{".bin", Format::binary},
};

struct Source
{
    std::string path;
    std::optional<std::uint32_t> address; // of a raw binary
};

// An '@' belongs to the file name where a file of the whole name exists.
Source split_address(const std::string& argument)
{
    const std::size_t at = argument.rfind('@');
    std::error_code ignored;
    if (at == std::string::npos || fs::exists(base::path_of(argument), ignored)) {
        return {argument, std::nullopt};
    }
    return {argument.substr(0, at), parse_u32(std::string_view{argument}.substr(at + 1), "address after the '@'")};
}

std::optional<Format> format_by_ending(const fs::path& path)
{
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto found = std::ranges::find(endings, ending, &Ending::text);
    return found == endings.end() ? std::nullopt : std::optional{found->format};
}

std::optional<Format> format_by_content(std::string_view text)
{
    if (text.starts_with("\x7F"
                         "ELF")) {
        return Format::elf;
    }
    if (text.starts_with(':')) {
        return Format::intel_hex;
    }
    if (text.size() >= 2 && text[0] == 'S' && text[1] >= '0' && text[1] <= '9') {
        return Format::srecord;
    }
    return std::nullopt;
}

// A file that a board takes as a drive, in blocks with a header each.
void refuse_other_format(const std::string& path, std::string_view text)
{
    if (text.starts_with("UF2\n")) {
        throw Failure{ExitCode::failure, fmt::format("{}: this is a UF2 file, which cannot be read here", path),
                      "Give the Intel HEX or ELF file that it was made from."};
    }
}

Format format_of(const Source& source, std::string_view text)
{
    refuse_other_format(source.path, text);
    const std::optional<Format> by_ending = format_by_ending(base::path_of(source.path));
    if (source.address) {
        if (by_ending.value_or(Format::binary) != Format::binary) {
            throw Failure{ExitCode::usage, fmt::format("{}: this format holds its own addresses", source.path),
                          "Leave the '@' and the address away; only a raw binary takes one."};
        }
        return Format::binary;
    }
    const std::optional<Format> format = by_ending ? by_ending : format_by_content(text);
    if (!format) {
        throw Failure{ExitCode::failure, fmt::format("{}: neither Intel HEX nor S-record nor ELF", source.path),
                      fmt::format("For a raw binary say where it belongs: {}@0x0", source.path)};
    }
    return *format;
}

std::span<const std::uint8_t> as_bytes(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

Image parse_binary(std::string_view content, const Source& source)
{
    if (!source.address) {
        throw Failure{ExitCode::usage, fmt::format("{}: a raw binary holds no address", source.path),
                      fmt::format("Say where it belongs, for example {}@0x0", source.path)};
    }
    if (*source.address + std::uint64_t{content.size()} > std::uint64_t{1} << 32) {
        throw Failure{ExitCode::usage,
                      fmt::format("{}: {} from {:#010x} on reach beyond 4 GiB", source.path,
                                  format_size(content.size()), *source.address),
                      "Give the address where the binary begins."};
    }
    Image image;
    // Nothing can overlap with the first data of an image.
    static_cast<void>(image.add(*source.address, as_bytes(content)));
    return image;
}

Image parse(const Source& source, std::string_view content)
{
    switch (format_of(source, content)) {
    case Format::intel_hex:
        return parse_intel_hex(content, source.path);
    case Format::srecord:
        return parse_srecord(content, source.path);
    case Format::elf:
        return parse_elf(as_bytes(content), source.path);
    case Format::binary:
        break;
    }
    return parse_binary(content, source);
}

} // namespace

Image read_firmware(const std::string& argument)
{
    const Source source = split_address(argument);
    const std::string content = read_file(base::path_of(source.path));
    if (content.empty()) {
        throw Failure{ExitCode::failure, fmt::format("{}: the file is empty", source.path),
                      "Check that the build produced what it should."};
    }
    Image image = parse(source, content);
    if (image.empty()) {
        throw Failure{ExitCode::failure, fmt::format("{}: the file holds no data", source.path),
                      "Check that the build produced what it should."};
    }
    return image;
}

Image read_firmware(const std::vector<std::string>& arguments)
{
    Image whole;
    std::vector<std::pair<std::string, Image>> parts;
    for (const std::string& argument : arguments) {
        parts.emplace_back(argument, read_firmware(argument));
        for (const Segment& segment : parts.back().second.segments()) {
            const auto taken = whole.add(segment.address, segment.bytes);
            if (!taken) {
                continue;
            }
            const auto other =
                std::ranges::find_if(parts, [&](const auto& part) { return part.second.byte_at(*taken).has_value(); });
            throw Failure{ExitCode::usage,
                          fmt::format("{} and {} both hold data for {:#010x}", other->first, argument, *taken),
                          "Program them one after the other, or link them to different addresses."};
        }
    }
    return whole;
}

void require_writable_file(const fs::path& path)
{
    const std::optional<Format> format = format_by_ending(path);
    if (format != Format::intel_hex && format != Format::binary) {
        throw Failure{ExitCode::usage, fmt::format("{}: the ending does not say which format to write", path.string()),
                      "Give the file the ending .bin (raw) or .hex (Intel HEX)."};
    }
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path{"."};
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        throw Failure{ExitCode::failure,
                      fmt::format("cannot write {}: there is no folder {}", path.string(), folder.string()),
                      "Make the folder first, or correct the path."};
    }
}

void write_firmware(const fs::path& path, std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    require_writable_file(path);
    if (format_by_ending(path) == Format::intel_hex) {
        const std::string text = to_intel_hex(address, bytes);
        write_file(path, as_bytes(text));
    } else {
        write_file(path, bytes);
    }
}

} // namespace tessit::cli
