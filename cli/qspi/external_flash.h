/// The serial flash behind the chip's QSPI peripheral.
#pragma once

#include "cli/qspi/connection.h"
#include "cli/session/target.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tessit::cli {

/// Answer to the instruction 0x9F: manufacturer, memory type, capacity.
struct FlashIdentification
{
    std::array<std::uint8_t, 3> bytes{};

    /// Bytes, a power of two; 0 when the third byte tells none that is likely.
    std::uint32_t size() const;
    /// No flash has this: the lines are not connected.
    bool is_of_nobody() const;
};

/// The peripheral is initialized with the object and released with it. All of it throws a Failure. The CPU is halted
/// and 8 KiB of RAM at its start are used; with `retains_ram` they are put back at the release.
class ExternalFlash
{
public:
    ExternalFlash(const Session& session, const QspiConnection& connection, bool retains_ram);
    ExternalFlash(const ExternalFlash&) = delete;
    ExternalFlash& operator=(const ExternalFlash&) = delete;
    /// After a failure, as far as it still can be done.
    ~ExternalFlash();

    /// The regular end.
    void release();

    /// Finds out whether there is a flash and waits until it is ready; to be called before what follows.
    void open();
    const FlashIdentification& identification() const { return identification_; }
    const QspiConnection& connection() const { return connection_; }
    const Clock& clock() const { return session_.clock(); }
    bool retains_ram() const { return retains_ram_; }

    /// From --flash-size or the identification.
    std::uint32_t size() const;
    /// What addresses of the chosen number of bits reach of it.
    Range reachable() const;

    void read(std::uint32_t address, std::span<std::uint8_t> bytes, const ChunkDone& done = {}) const;
    /// Into erased bytes, or clearing bits; waits until the flash has written them.
    void write(std::uint32_t address, std::span<const std::uint8_t> bytes, const ChunkDone& done = {}) const;
    /// Waits until the flash has erased it.
    void erase(std::uint32_t address, qspi_erase_len_t length) const;

    /// Sends the opcode and the bytes; returns what the flash sent meanwhile and for `received` bytes more.
    std::vector<std::uint8_t> instruct(std::uint8_t opcode, std::span<const std::uint8_t> sent,
                                       std::size_t received) const;
    std::uint8_t read_status() const;

private:
    void wait_until_ready(std::string_view what) const;
    FlashIdentification identify() const;

    const Session& session_;
    const QspiConnection connection_;
    const bool retains_ram_;
    FlashIdentification identification_;
    bool uses_long_addresses_ = false; ///< the flash was switched to them
    bool is_released_ = false;
};

} // namespace tessit::cli
