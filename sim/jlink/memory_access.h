#pragma once

#include "sim/jlink/session.h"

#include <span>

/// Target memory through a session that is connected to its chip.
namespace jlinksim {

/// False for a session that is not connected and for a bus fault.
bool read_memory(Session& session, std::uint32_t address, std::span<std::uint8_t> data);
bool write_memory(Session& session, std::uint32_t address, std::span<const std::uint8_t> data);
/// Words one by one, each with a status byte (nonzero: fault). Returns how many could be read, or -1 without a target.
int read_words(Session& session, std::uint32_t address, std::span<std::uint32_t> words, std::uint8_t* status);

} // namespace jlinksim
