#include "cli/session/target.h"

#include "cli/session/memory_map.h"
#include "cli/terminal/console.h"

#include <algorithm>
#include <bit>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr const char* access_hint =
    "Check that this chip has something at that address, and the probe's cable and wires.";

void report_chunk(const ChunkDone& done, std::size_t bytes)
{
    if (done) {
        done(bytes);
    }
}

// A chip that answers with nonsense must not be taken for one of that size.
void require_plausible(const FlashGeometry& geometry, std::uint64_t page_count)
{
    constexpr std::uint32_t smallest_page = 512;
    constexpr std::uint32_t largest_page = 65536;
    constexpr std::uint64_t largest_flash = std::uint64_t{16} * 1024 * 1024;
    const std::uint64_t size = page_count * geometry.page_size;
    const bool page_is_plausible = std::has_single_bit(geometry.page_size) && geometry.page_size >= smallest_page &&
                                   geometry.page_size <= largest_page;
    if (!page_is_plausible || size == 0 || size > largest_flash) {
        throw Failure{ExitCode::failure,
                      fmt::format("the chip's factory area gives no plausible flash: {} pages of {} bytes", page_count,
                                  geometry.page_size),
                      "Give --flash-size and --page-size by hand, for example --flash-size 512k --page-size 4k."};
    }
}

} // namespace

std::uint32_t Target::read_word(std::uint32_t address) const
{
    std::uint32_t word = 0;
    session_.check(TESSIT_read_u32(address, &word), fmt::format("read the word at {:#010x}", address), access_hint);
    return word;
}

void Target::read(std::uint32_t address, std::span<std::uint8_t> bytes, const ChunkDone& done) const
{
    while (!bytes.empty()) {
        stop_if_interrupted();
        const auto chunk = bytes.first(std::min(bytes.size(), transfer_chunk));
        const auto length = static_cast<std::uint32_t>(chunk.size());
        session_.check(
            TESSIT_read(address, chunk.data(), length),
            fmt::format("read {} at {:#010x} ({})", format_size(length), address, memory_map::area_name(address)),
            access_hint);
        report_chunk(done, chunk.size());
        address += length;
        bytes = bytes.subspan(chunk.size());
    }
}

std::vector<std::uint8_t> Target::read(const Range& range) const
{
    std::vector<std::uint8_t> bytes(range.length);
    read(range.first, bytes);
    return bytes;
}

void Target::write(std::uint32_t address, std::span<const std::uint8_t> bytes, WritePath path,
                   const ChunkDone& done) const
{
    while (!bytes.empty()) {
        stop_if_interrupted();
        const auto chunk = bytes.first(std::min(bytes.size(), transfer_chunk));
        const auto length = static_cast<std::uint32_t>(chunk.size());
        session_.check(
            TESSIT_write(address, chunk.data(), length, static_cast<std::uint8_t>(path)),
            fmt::format("write {} at {:#010x} ({})", format_size(length), address, memory_map::area_name(address)),
            access_hint);
        report_chunk(done, chunk.size());
        address += length;
        bytes = bytes.subspan(chunk.size());
    }
}

FlashGeometry Target::flash_geometry() const
{
    const Settings& settings = session_.settings();
    FlashGeometry geometry;
    geometry.page_size = settings.page_size ? *settings.page_size : read_word(memory_map::ficr_page_size);
    const std::uint64_t page_count = settings.flash_size && geometry.page_size != 0
                                         ? *settings.flash_size / geometry.page_size
                                         : read_word(memory_map::ficr_page_count);
    require_plausible(geometry, page_count);
    geometry.size = static_cast<std::uint32_t>(page_count * geometry.page_size);
    return geometry;
}

void Target::connect() const
{
    bool connected = false;
    session_.check(TESSIT_is_connected_to_device(&connected), "ask whether the chip is connected");
    if (!connected) {
        session_.check(TESSIT_connect_to_device(), "connect to the chip");
    }
}

bool Target::is_halted() const
{
    connect();
    bool halted = false;
    session_.check(TESSIT_is_halted(&halted), "ask whether the CPU is halted");
    return halted;
}

void Target::halt() const
{
    session_.check(TESSIT_halt(), "halt the CPU");
}

void Target::go() const
{
    session_.check(TESSIT_go(), "set the CPU running");
}

RunStateKeeper::~RunStateKeeper()
{
    if (is_pending_ && was_running_) {
        TESSIT_go();
    }
}

void RunStateKeeper::restore()
{
    is_pending_ = false;
    if (was_running_) {
        target_.go();
    }
}

} // namespace tessit::cli
