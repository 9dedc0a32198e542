/// Whole files: read into memory, and written so that no half-written file is left behind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace tessit::cli {

/// Throws a Failure that names the file and the system's reason.
std::string read_file(const std::filesystem::path& path);

/// Writes beside the target and renames, so that the file is whole or not there; throws a Failure as read_file. What is
/// no regular file, such as a pipe or a device, is written directly.
void write_file(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

} // namespace tessit::cli
