/// What is said between the command line and the flash loader on the chip, in 32-bit words, low byte first. Commands
/// and their data go down RTT channel 0, answers come up channel 0, each when its command is done, in their order. The
/// loader's source, target/loader.s, is assembled with the numbers from here.
#pragma once

#include <cstdint>

namespace tessit::cli::loader_protocol {

/// The first word that comes up: the loader runs.
inline constexpr std::uint32_t hello = 0x54534C31;

enum class Command : std::uint32_t
{
    checksums = 1,  ///< address, bytes, count: the answer goes on with `count` words, of so many bytes each
    erase_page = 2, ///< address
    erase_all = 3,  ///< flash and UICR
    write = 4,      ///< address, count, and so many words of data
    end = 5,        ///< the CPU halts after the answer
};

/// An answer is the command's number. With these bits it cannot be done: an address, and the word that is found there,
/// follow, and the CPU halts.
inline constexpr std::uint32_t failed = 0xE0000000;

} // namespace tessit::cli::loader_protocol
