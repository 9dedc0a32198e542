#pragma once

#include <cstdint>

namespace jlinksim {

/// What a bench says about the serial flash behind a chip's QSPI peripheral.
struct SerialFlashOptions
{
    std::uint32_t bytes = 0;        ///< a power of two; 0 where none is fitted
    std::uint32_t page_bytes = 256; ///< what one program instruction can write
    unsigned busy_bit = 0;          ///< of the status register, 0 to 7
    bool is_protected = false;      ///< ignores programs and erases
    bool is_missing = false;        ///< not on the board: every line reads high
    bool never_ready = false;       ///< shows itself busy for ever
};

} // namespace jlinksim
