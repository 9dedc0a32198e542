/// Firmware files: Intel HEX, S-record, ELF and raw binary are read; Intel HEX and raw binary are written.
#pragma once

#include "cli/firmware/image.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tessit::cli {

/// Reads FILE, or FILE@ADDRESS for a raw binary. What is malformed is refused with a Failure that names the file, the
/// line where there are lines, and the reason; nothing malformed is ever loaded in part.
Image read_firmware(const std::string& argument);

/// Reads several files into one image; files that overlap are refused with both names and the address.
Image read_firmware(const std::vector<std::string>& arguments);

/// The readers, for contents that are in memory already. `name` is what a Failure calls the file.
Image parse_intel_hex(std::string_view text, const std::string& name);
Image parse_srecord(std::string_view text, const std::string& name);
Image parse_elf(std::span<const std::uint8_t> file, const std::string& name);

/// Writes the bytes to a file, as Intel HEX or raw binary by its ending (.hex or .bin). The file appears whole or not
/// at all, and a file that was there before is replaced only by a whole one.
void write_firmware(const std::filesystem::path& path, std::uint32_t address, std::span<const std::uint8_t> bytes);

/// Refuses an ending that write_firmware does not know, and a folder that is not there; to be asked before the work,
/// not after it.
void require_writable_file(const std::filesystem::path& path);

std::string to_intel_hex(std::uint32_t address, std::span<const std::uint8_t> bytes);

} // namespace tessit::cli
