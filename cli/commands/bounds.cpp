#include "cli/commands/bounds.h"

#include "cli/chip/ram_power.h"
#include "cli/failure.h"
#include "cli/session/memory_map.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

void require_within(const Range& memory, const char* name, const Range& range)
{
    if (!memory.contains(range)) {
        throw Failure{ExitCode::usage,
                      fmt::format("{} reaches beyond the chip's {}, which has {} ({})", format_range(range), name,
                                  format_size(memory.length), format_range(memory)),
                      "`tessit info` shows what the chip has."};
    }
}

} // namespace

void require_within_memory(const Target& target, const Range& range)
{
    const Range area = memory_map::area_of(range.first);
    if (!area.contains(range)) {
        throw Failure{ExitCode::usage,
                      fmt::format("{} reaches beyond {}, which ends at {:#010x}", format_range(range),
                                  memory_map::area_name(range.first), area.end()),
                      "Give a range within one area of the chip's memory."};
    }
    if (area.first == memory_map::flash_start && range.first < memory_map::code_alias_start) {
        if (const auto flash = target.told_flash_geometry()) {
            require_within(flash->flash(), "flash", range);
        }
    }
    if (area.first == memory_map::ram_start) {
        require_within({memory_map::ram_start, read_ram_sections(target.session()).total_bytes()}, "RAM", range);
    }
    constexpr std::uint64_t longest = std::uint64_t{256} * 1024 * 1024;
    if (range.length > longest) {
        throw Failure{ExitCode::usage, fmt::format("{} is longer than {}", format_range(range), format_size(longest)),
                      "Give a shorter range."};
    }
}

} // namespace tessit::cli
