/// Long transfers in calls of a bounded size.
#pragma once

#include "cli/terminal/console.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace tessit::cli {

/// Bytes that one call transfers at most, so that progress shows and Ctrl-C is heard between two of them.
inline constexpr std::size_t transfer_chunk = std::size_t{64} * 1024;

/// Is told the bytes of each chunk that was transferred.
using ChunkDone = std::function<void(std::size_t bytes)>;

/// Calls `move(address, chunk)` for one chunk after the other. Throws a Failure between two of them when Ctrl-C was
/// pressed.
template <typename Byte, typename Move>
void transfer_in_chunks(std::uint32_t address, std::span<Byte> bytes, const ChunkDone& done, Move move)
{
    while (!bytes.empty()) {
        stop_if_interrupted();
        const auto chunk = bytes.first(std::min(bytes.size(), transfer_chunk));
        move(address, chunk);
        if (done) {
            done(chunk.size());
        }
        address += static_cast<std::uint32_t>(chunk.size());
        bytes = bytes.subspan(chunk.size());
    }
}

} // namespace tessit::cli
