#include "sim/jlink/commands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <fmt/core.h>
#include <optional>

namespace jlinksim {
namespace {

struct Command
{
    std::string_view name;
    /// Gets what follows the name; returns what is wrong with it.
    std::string (*execute)(Session& session, std::string_view argument);
};

std::string_view trim(std::string_view text)
{
    const std::size_t first = std::min(text.find_first_not_of(" \t"), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

/// What follows the equals sign; null without one.
std::optional<std::string_view> assigned(std::string_view argument)
{
    argument = trim(argument);
    if (!argument.starts_with('=')) {
        return std::nullopt;
    }
    return trim(argument.substr(1));
}

std::optional<std::uint32_t> take_number(std::string_view& text)
{
    text = trim(text);
    const bool hexadecimal = text.starts_with("0x");
    const std::string_view digits = text.substr(hexadecimal ? 2 : 0);
    std::uint32_t value = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc{}) {
        return std::nullopt;
    }
    text = digits.substr(static_cast<std::size_t>(parsed.ptr - digits.data()));
    return value;
}

bool take(std::string_view& text, char c)
{
    text = trim(text);
    if (!text.starts_with(c)) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

std::string expect_nothing(std::string_view argument)
{
    return trim(argument).empty() ? "" : fmt::format("Unexpected '{}'.", trim(argument));
}

std::string set_flag(bool& flag, std::string_view argument)
{
    const std::optional<std::string_view> value = assigned(argument);
    if (value != "0" && value != "1") {
        return "Expected '= 0' or '= 1'.";
    }
    flag = value == "1";
    return {};
}

std::string select_device(Session& session, std::string_view argument)
{
    const std::optional<std::string_view> device = assigned(argument);
    if (!device || std::ranges::find(chip_models(), *device, &ChipModel::device_name) == chip_models().end()) {
        return fmt::format("Unknown device '{}'.", device.value_or(trim(argument)));
    }
    session.settings().device = *device;
    return {};
}

std::string restart_on_close(Session& session, std::string_view argument)
{
    return set_flag(session.settings().restart_on_close, argument);
}

std::string power_down_on_close(Session& session, std::string_view argument)
{
    return set_flag(session.settings().power_down_on_close, argument);
}

std::string disable_flash_download(Session& session, std::string_view argument)
{
    session.settings().downloads_flash = false;
    return expect_nothing(argument);
}

std::string exclude_flash_cache(Session& session, std::string_view argument)
{
    const std::optional<std::uint32_t> first = take_number(argument);
    const bool dash = take(argument, '-');
    const std::optional<std::uint32_t> last = take_number(argument);
    if (!first || !dash || !last || *first > *last) {
        return "Expected a range, such as 0x0-0xFFFFFFFF.";
    }
    session.read_cache().exclude_flash(*first, *last);
    return expect_nothing(argument);
}

std::string invalidate_cache(Session& session, std::string_view argument)
{
    session.read_cache().invalidate();
    return expect_nothing(argument);
}

std::string set_rtt_search_ranges(Session& session, std::string_view argument)
{
    std::vector<RttSearchRange> ranges;
    do {
        const std::optional<std::uint32_t> address = take_number(argument);
        const std::optional<std::uint32_t> length = take_number(argument);
        if (!address || !length || *length == 0) {
            return "Expected ranges, such as 0x20000000 0x8000, 0x20010000 0x1000.";
        }
        ranges.push_back({*address, *length});
    } while (take(argument, ','));
    session.settings().rtt_search_ranges = ranges;
    return expect_nothing(argument);
}

/// What a host may say to any J-Link library, and what changes nothing here.
constexpr std::array<std::string_view, 4> harmless_commands{"SilentUpdateFW", "EnableRemarks", "SetBatchMode",
                                                            "SupplyPower"};

constexpr std::array commands{
    Command{"Device", select_device},
    Command{"SetRestartOnClose", restart_on_close},
    Command{"DisableFlashDL", disable_flash_download},
    Command{"SetDbgPowerDownOnClose", power_down_on_close},
    Command{"ExcludeFlashCacheRange", exclude_flash_cache},
    Command{"InvalidateCache", invalidate_cache},
    Command{"SetRTTSearchRanges", set_rtt_search_ranges},
};

} // namespace

std::string execute_command(Session& session, std::string_view text)
{
    text = trim(text);
    const std::size_t length = std::min(text.find_first_of(" \t="), text.size());
    const std::string_view name = text.substr(0, length);
    if (const auto harmless = std::ranges::find(harmless_commands, name); harmless != harmless_commands.end()) {
        if (session.settings().harmless_commands.insert(*harmless).second) {
            session.bench().records().add("command-without-effect", *harmless);
        }
        return {};
    }
    const auto command = std::ranges::find(commands, name, &Command::name);
    if (command == commands.end()) {
        return fmt::format("Unknown command '{}'.", name);
    }
    return command->execute(session, text.substr(length));
}

} // namespace jlinksim
