/// Whole files: read into memory, and written so that no half-written file is left behind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace tessit::cli {

/// More than any firmware file has.
inline constexpr std::uint64_t largest_file = std::uint64_t{256} * 1024 * 1024;

/// Throws a Failure that names the file and the system's reason, or that it is larger than the limit.
std::string read_file(const std::filesystem::path& path, std::uint64_t limit = largest_file);

/// Writes beside the target and renames, so that the file is whole or as it was, with the permissions that it had;
/// throws a Failure as read_file. What is no regular file, such as a pipe or a device, is written directly.
void write_file(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

} // namespace tessit::cli
