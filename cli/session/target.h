/// The chip on the probe: its memory in blocks, its flash geometry, its CPU's run state.
#pragma once

#include "cli/session/session.h"
#include "cli/session/transfer.h"
#include "cli/text/numbers.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessit::cli {

enum class WritePath : std::uint8_t
{
    bus = 0,              ///< plain memory and registers
    flash_controller = 1, ///< flash and UICR
};

struct FlashGeometry
{
    std::uint32_t size = 0;      ///< bytes
    std::uint32_t page_size = 0; ///< bytes, a power of two

    Range flash() const { return {0, size}; }
    std::uint32_t page_of(std::uint32_t address) const { return address & ~(page_size - 1); }
};

class Target
{
public:
    /// Of the probe that the session is connected to; the chip is connected on first use.
    explicit Target(Session& session) : session_{session} {}

    Session& session() const { return session_; }

    std::uint32_t read_word(std::uint32_t address) const;
    void read(std::uint32_t address, std::span<std::uint8_t> bytes, const ChunkDone& done = {}) const;
    std::vector<std::uint8_t> read(const Range& range) const;
    /// The address is a multiple of 4.
    void write(std::uint32_t address, std::span<const std::uint8_t> bytes, WritePath path,
               const ChunkDone& done = {}) const;

    /// The chip's own number, in 16 hexadecimal digits.
    std::string device_id() const;

    /// What the chip's factory area tells, if that makes sense.
    std::optional<FlashGeometry> told_flash_geometry() const;
    /// The same; --flash-size and --page-size stand in for what it does not tell, and what contradicts it is refused.
    FlashGeometry flash_geometry() const;

    /// Every access connects on demand; this is for the sake of a message that says so.
    void connect() const;

    bool is_halted() const;
    void halt() const;
    void go() const;

private:
    Session& session_;
};

/// Lets the CPU go on where a command only looked: it is halted by nearly every access, and this sets it running again
/// if it was running at the start.
class RunStateKeeper
{
public:
    explicit RunStateKeeper(const Target& target) : target_{target}, was_running_{!target.is_halted()} {}
    RunStateKeeper(const RunStateKeeper&) = delete;
    RunStateKeeper& operator=(const RunStateKeeper&) = delete;
    /// After a failure, as far as it still can be done.
    ~RunStateKeeper();

    bool was_running() const { return was_running_; }
    /// At the regular end; throws when the CPU cannot be set running.
    void restore();
    /// The CPU is to stay halted.
    void release() { is_pending_ = false; }

private:
    const Target& target_;
    bool was_running_;
    bool is_pending_ = true;
};

} // namespace tessit::cli
