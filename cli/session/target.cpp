#include "cli/session/target.h"

#include "base/little_endian.h"
#include "cli/session/memory_map.h"
#include "cli/terminal/console.h"

#include <algorithm>
#include <array>
#include <bit>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr const char* access_hint =
    "Check that this chip has something at that address, and the probe's cable and wires.";

constexpr std::uint32_t smallest_page = 512;
constexpr std::uint32_t largest_page = 65536;
constexpr std::uint64_t largest_flash = std::uint64_t{16} * 1024 * 1024;

bool is_plausible_page(std::uint32_t bytes)
{
    return std::has_single_bit(bytes) && bytes >= smallest_page && bytes <= largest_page;
}

// A chip that answers with nonsense must not be taken for one of that size.
bool is_plausible_flash(std::uint32_t page_bytes, std::uint64_t page_count)
{
    return is_plausible_page(page_bytes) && page_count != 0 && page_count * page_bytes <= largest_flash;
}

void require_sensible(const Settings& settings)
{
    if (settings.page_size && !is_plausible_page(*settings.page_size)) {
        throw Failure{ExitCode::usage,
                      fmt::format("--page-size {} is not a page size: it is a power of two from {} to {}",
                                  *settings.page_size, smallest_page, largest_page),
                      "Leave --page-size away: the chip tells its own."};
    }
    if (settings.flash_size && (*settings.flash_size == 0 || *settings.flash_size > largest_flash)) {
        throw Failure{ExitCode::usage,
                      fmt::format("--flash-size {} is not the size of a chip's flash, which has up to {}",
                                  *settings.flash_size, format_size(largest_flash)),
                      "Leave --flash-size away: the chip tells its own."};
    }
}

// A flag that contradicts the chip would erase or spare the wrong pages.
void require_agreement(const char* flag, const std::optional<std::uint32_t>& given, std::uint32_t told)
{
    if (given && *given != told) {
        throw Failure{
            ExitCode::usage,
            fmt::format("{} {} contradicts the chip, which has {}", flag, format_size(*given), format_size(told)),
            fmt::format("Leave {} away: it is for a chip that does not tell.", flag)};
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
    transfer_in_chunks(address, bytes, done, [this](std::uint32_t first, std::span<std::uint8_t> chunk) {
        session_.check(
            TESSIT_read(first, chunk.data(), static_cast<std::uint32_t>(chunk.size())),
            fmt::format("read {} at {:#010x} ({})", format_size(chunk.size()), first, memory_map::area_name(first)),
            access_hint);
    });
}

std::vector<std::uint8_t> Target::read(const Range& range) const
{
    std::vector<std::uint8_t> bytes(range.size());
    read(range.first, bytes);
    return bytes;
}

void Target::write(std::uint32_t address, std::span<const std::uint8_t> bytes, WritePath path,
                   const ChunkDone& done) const
{
    transfer_in_chunks(address, bytes, done, [&](std::uint32_t first, std::span<const std::uint8_t> chunk) {
        session_.check(
            TESSIT_write(first, chunk.data(), static_cast<std::uint32_t>(chunk.size()),
                         static_cast<std::uint8_t>(path)),
            fmt::format("write {} at {:#010x} ({})", format_size(chunk.size()), first, memory_map::area_name(first)),
            access_hint);
    });
}

std::string Target::device_id() const
{
    std::array<std::uint8_t, 8> bytes{};
    read(memory_map::ficr_device_id, bytes);
    return fmt::format("{:08x}{:08x}", little_endian::load_u32(std::span{bytes}.last(4)),
                       little_endian::load_u32(std::span{bytes}.first(4)));
}

std::optional<FlashGeometry> Target::told_flash_geometry() const
{
    const std::uint32_t page_bytes = read_word(memory_map::ficr_page_size);
    const std::uint64_t page_count = read_word(memory_map::ficr_page_count);
    if (!is_plausible_flash(page_bytes, page_count)) {
        return std::nullopt;
    }
    return FlashGeometry{static_cast<std::uint32_t>(page_count * page_bytes), page_bytes};
}

FlashGeometry Target::flash_geometry() const
{
    const Settings& settings = session_.settings();
    require_sensible(settings);
    if (const auto told = told_flash_geometry()) {
        require_agreement("--page-size", settings.page_size, told->page_size);
        require_agreement("--flash-size", settings.flash_size, told->size);
        return *told;
    }
    if (!settings.page_size || !settings.flash_size || *settings.flash_size % *settings.page_size != 0) {
        throw Failure{ExitCode::failure, "the chip's factory area does not tell the size of its flash and of its pages",
                      "Give --flash-size and --page-size by hand, for example --flash-size 512k --page-size 4k."};
    }
    return {*settings.flash_size, *settings.page_size};
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
