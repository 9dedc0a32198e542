#pragma once

#include <cstdint>
#include <optional>

namespace jlinksim {

/// What a bench says about the serial flash behind a chip's QSPI peripheral.
struct SerialFlashOptions
{
    std::uint32_t bytes = 0;          ///< a power of two; 0 where none is fitted
    std::uint32_t page_bytes = 256;   ///< what one program instruction can write
    unsigned busy_bit = 0;            ///< of the status register, 0 to 7
    bool is_protected = false;        ///< ignores programs and erases
    bool is_missing = false;          ///< not on the board: every line reads high
    bool has_pins = true;             ///< lines 2 and 3 are WP and HOLD while they carry no data
    unsigned data_lines = 4;          ///< over which it can send and take data: 1, 2 or 4
    std::uint32_t highest_khz = 0;    ///< clock up to which it follows; 0 any
    std::optional<unsigned> spi_mode; ///< the only one that it understands
    std::uint32_t deselect_ns = 0;    ///< how long it has to be deselected between frames
    bool never_ready = false;         ///< shows itself busy for ever
};

} // namespace jlinksim
