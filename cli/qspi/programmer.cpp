#include "cli/qspi/programmer.h"

#include "cli/flash/flash_bytes.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

namespace tessit::cli::qspi {
namespace {

constexpr const char* protection_hint =
    "The flash may be write-protected: check its WP line and the protection bits of its status register (`tessit qspi "
    "info` shows it).";

std::optional<std::uint32_t> first_byte_to_erase(const Plan& plan, const Erase& erase)
{
    const Range range{erase.address, erase.bytes};
    for (const Sector& sector : plan.sectors) {
        if (!range.contains(std::uint64_t{sector.address})) {
            continue;
        }
        const auto byte = std::ranges::find_if(sector.current, [](std::uint8_t each) { return each != erased_byte; });
        if (byte != sector.current.end()) {
            return sector.address + static_cast<std::uint32_t>(byte - sector.current.begin());
        }
    }
    return std::nullopt;
}

[[noreturn]] void refuse_not_erased(std::uint32_t address, std::uint8_t byte)
{
    throw Failure{
        ExitCode::failure,
        fmt::format("the external flash did not carry out its erase: the byte at {:#010x} still holds {:#04x}", address,
                    byte),
        protection_hint};
}

void write(const ExternalFlash& flash, const Plan& plan, const Console& console)
{
    Progress progress{console, "write", plan.bytes_to_write(), "bytes"};
    for (const Segment& segment : plan.writes) {
        flash.write(segment.address, segment.bytes, [&progress](std::size_t bytes) { progress.advance(bytes); });
    }
    progress.finish();
}

std::uint64_t read_back(const ExternalFlash& flash, const Plan& plan, const Console& console)
{
    Image written;
    for (const Sector& sector : plan.sectors) {
        // Sectors do not overlap.
        static_cast<void>(written.add(sector.address, sector.wanted));
    }
    compare(flash, written, console)
        .require_none("what was written", "the external flash",
                      "The flash may be write-protected, or page, modes and divider of the connection do not suit it.");
    return written.size();
}

} // namespace

void erase(const ExternalFlash& flash, std::span<const Erase> erases, const Console& console,
           const std::function<void(const Erase&)>& check)
{
    std::uint64_t total = 0;
    for (const Erase& each : erases) {
        total += each.bytes;
    }
    Progress progress{console, "erase", total, "bytes"};
    for (const Erase& each : erases) {
        stop_if_interrupted();
        flash.erase(each.address, each.length);
        if (check) {
            check(each);
        }
        progress.advance(each.bytes);
    }
    progress.finish();
}

Mismatches compare(const ExternalFlash& flash, const Image& image, const Console& console)
{
    Mismatches mismatches;
    Progress progress{console, "verify", image.size(), "bytes"};
    for (const Segment& segment : image.segments()) {
        std::vector<std::uint8_t> found(segment.bytes.size());
        flash.read(segment.address, found, [&progress](std::size_t bytes) { progress.advance(bytes); });
        mismatches.compare(segment.address, segment.bytes, found);
    }
    progress.finish();
    return mismatches;
}

void require_blank(const ExternalFlash& flash, const Range& range, const Console& console)
{
    std::vector<std::uint8_t> found(range.length);
    Progress progress{console, "verify", range.length, "bytes"};
    flash.read(range.first, found, [&progress](std::size_t bytes) { progress.advance(bytes); });
    progress.finish();
    const auto byte = std::ranges::find_if(found, [](std::uint8_t each) { return each != erased_byte; });
    if (byte != found.end()) {
        refuse_not_erased(range.first + static_cast<std::uint32_t>(byte - found.begin()), *byte);
    }
}

std::uint64_t execute(const ExternalFlash& flash, const Plan& plan, bool verify, const Console& console)
{
    const auto require_erased = [&](const Erase& done) {
        if (const auto address = first_byte_to_erase(plan, done)) {
            std::uint8_t byte = 0;
            flash.read(*address, {&byte, 1});
            if (byte != erased_byte) {
                refuse_not_erased(*address, byte);
            }
        }
    };
    try {
        erase(flash, plan.erases, console, require_erased);
        write(flash, plan, console);
    } catch (const Failure& failure) {
        throw Failure{failure.code(), fmt::format("{}; the external flash is partly written now", failure.what()),
                      failure.hint().empty() ? "Run the command again; it goes on where it stopped." : failure.hint()};
    }
    return verify && !plan.sectors.empty() ? read_back(flash, plan, console) : 0;
}

} // namespace tessit::cli::qspi
