#include "cli/qspi/connection.h"

#include "base/path.h"
#include "cli/failure.h"
#include "cli/options/config_file.h"
#include "cli/text/lists.h"
#include "cli/text/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/format.h>
#include <span>
#include <stdexcept>
#include <vector>

namespace tessit::cli {
namespace {

using Config = qspi_init_config_t;

// Says what was expected instead of a value; where it stands is added by who knows that.
class BadValue : public std::invalid_argument
{
public:
    using std::invalid_argument::invalid_argument;
};

std::uint32_t parse_number(const std::string& text, std::uint32_t lowest, std::uint32_t highest)
{
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size() || value < lowest || value > highest) {
        throw BadValue{fmt::format("a number from {} to {}", lowest, highest)};
    }
    return value;
}

// The code of a value is its place in the list.
std::uint32_t parse_choice(const std::string& text, std::span<const std::string_view> choices)
{
    const auto found = std::ranges::find(choices, text);
    if (found == choices.end()) {
        throw BadValue{fmt::format("one of {}", joined(choices))};
    }
    return static_cast<std::uint32_t>(found - choices.begin());
}

// "P0.17": port and pin.
void parse_pin(const std::string& text, std::uint32_t& port, std::uint32_t& pin)
{
    constexpr std::array<std::uint32_t, 2> last_pins{31, 15};
    constexpr const char* expected = "a pin: P0.0 to P0.31 or P1.0 to P1.15";
    const std::size_t dot = text.find('.');
    if (dot != 2 || (text[0] != 'P' && text[0] != 'p') || (text[1] != '0' && text[1] != '1')) {
        throw BadValue{expected};
    }
    port = text[1] == '0' ? 0 : 1;
    try {
        pin = parse_number(text.substr(dot + 1), 0, last_pins.at(port));
    } catch (const BadValue&) {
        throw BadValue{expected};
    }
}

void set_divider(QspiConnection& connection, const std::string& text)
{
    constexpr std::array<std::string_view, 5> dividers{"1", "2", "4", "8", "16"};
    constexpr std::array codes{FREQ_DIV1, FREQ_DIV2, FREQ_DIV4, FREQ_DIV8, FREQ_DIV16};
    connection.config.frequency = codes.at(parse_choice(text, dividers));
}

void set_address_bits(QspiConnection& connection, const std::string& text)
{
    constexpr std::array<std::string_view, 2> choices{"24", "32"};
    connection.config.address_mode = static_cast<qspi_address_mode_t>(parse_choice(text, choices));
}

void set_page(QspiConnection& connection, const std::string& text)
{
    constexpr std::array<std::string_view, 2> choices{"256", "512"};
    connection.config.PPSize = static_cast<qspi_page_program_size_t>(parse_choice(text, choices));
}

void set_flash_size(QspiConnection& connection, const std::string& text)
{
    constexpr std::uint32_t sector = 4096;
    constexpr const char* expected = "a size in whole sectors of 4 KiB, such as 8M or 0x800000";
    try {
        connection.flash_size = parse_u32(text, "flash size");
    } catch (const Failure&) {
        throw BadValue{expected};
    }
    if (*connection.flash_size == 0 || *connection.flash_size % sector != 0) {
        throw BadValue{expected};
    }
}

template <auto port, auto pin>
void set_pin(QspiConnection& connection, const std::string& text)
{
    parse_pin(text, connection.config.*port, connection.config.*pin);
}

template <auto member, std::uint32_t highest>
void set_number(QspiConnection& connection, const std::string& text)
{
    auto& field = connection.config.*member;
    field = static_cast<std::remove_reference_t<decltype(field)>>(parse_number(text, 0, highest));
}

// A setting, as a key of the file and as a flag.
struct Setting
{
    const char* name;
    const char* placeholder;
    const char* help;
    const char* otherwise; // value where nobody gives one; null: it must be given; empty: nothing is set
    void (*set)(QspiConnection& connection, const std::string& text);
    const char* example;
};

constexpr std::array settings{
    // clang-format off
    Setting{"csn",           "PIN",   "Pin of the chip select, such as P0.17",              nullptr, &set_pin<&Config::CSN_port, &Config::CSN_pin>,   "\"P0.17\""},
    Setting{"clk",           "PIN",   "Pin of the serial clock",                            nullptr, &set_pin<&Config::CLK_port, &Config::CLK_pin>,   "\"P0.19\""},
    Setting{"dio0",          "PIN",   "Pin of data line 0 (SI)",                            nullptr, &set_pin<&Config::DIO0_port, &Config::DIO0_pin>, "\"P0.20\""},
    Setting{"dio1",          "PIN",   "Pin of data line 1 (SO)",                            nullptr, &set_pin<&Config::DIO1_port, &Config::DIO1_pin>, "\"P0.21\""},
    Setting{"dio2",          "PIN",   "Pin of data line 2 (WP)",                            nullptr, &set_pin<&Config::DIO2_port, &Config::DIO2_pin>, "\"P0.22\""},
    Setting{"dio3",          "PIN",   "Pin of data line 3 (HOLD)",                          nullptr, &set_pin<&Config::DIO3_port, &Config::DIO3_pin>, "\"P0.23\""},
    Setting{"read-mode",     "0..4",  "Read mode, 0 to 4, the peripheral's code; 0 suits any flash", "0",    &set_number<&Config::read_mode, 4>,              "0"},
    Setting{"write-mode",    "0..3",  "Write mode, 0 to 3, the peripheral's code; 0 suits any flash", "0",   &set_number<&Config::write_mode, 3>,             "0"},
    Setting{"address-bits",  "24|32", "Bits of an address: 24, or 32 for a flash of more than 16 MiB",   "24",    &set_address_bits,                               "24"},
    Setting{"divider",       "N",     "Divider of the serial clock: 1, 2, 4, 8 or 16",      "2",     &set_divider,                                    "2"},
    Setting{"spi-mode",      "0|1",   "SPI mode, 0 or 1, the peripheral's code",                    "0",     &set_number<&Config::spi_mode, 1>,               "0"},
    Setting{"sck-delay",     "0..255", "Delay, 0 to 255, as the peripheral counts it",                "5",     &set_number<&Config::sck_delay, 255>,            "5"},
    Setting{"io2-level",     "0|1",   "Level of line 2 during instructions, 0 or 1",                "1",     &set_number<&Config::custom_instruction_io2_level, 1>, "1"},
    Setting{"io3-level",     "0|1",   "Level of line 3 during instructions, 0 or 1",                "1",     &set_number<&Config::custom_instruction_io3_level, 1>, "1"},
    Setting{"wip-bit",       "0..7",  "Bit of the flash's status, 0 to 7, that is 1 while it is busy", "0",   &set_number<&Config::WIP_index, 7>,              "0"},
    Setting{"page",          "256|512", "Bytes that the flash programs at once: 256 or 512",            "256",   &set_page,                                       "256"},
    Setting{"flash-size",    "SIZE",  "Size of the external flash instead of what it tells", "",     &set_flash_size,                                 "\"8M\""},
    Setting{"ready-timeout", "S",     "Seconds to wait for the flash, 1 to 600",            "10",
            [](QspiConnection& connection, const std::string& text) {
                connection.ready_timeout = std::chrono::seconds{parse_number(text, 1, 600)};
            },                                                                                                                                        "10"},
    // clang-format on
};

std::string known_settings()
{
    std::vector<std::string_view> names;
    std::ranges::transform(settings, std::back_inserter(names), &Setting::name);
    return joined(names);
}

// A value and where it stands.
struct Value
{
    std::string text;
    std::string origin;
};
using Values = std::map<std::string, Value, std::less<>>;

[[noreturn]] void refuse(const std::string& origin, const std::string& reason, const std::string& hint)
{
    throw Failure{ExitCode::usage, fmt::format("{}: {}", origin, reason), hint};
}

Values read_connection_file(const std::string& path)
{
    const std::string hint = "Correct the file; `tessit qspi example FILE` writes one to start from.";
    Values values;
    for (const ConfigItem& item : read_config_file(base::path_of(path), hint)) {
        if (std::ranges::find(settings, item.key, &Setting::name) == settings.end()) {
            refuse(item.place, fmt::format("there is no setting '{}'", item.key),
                   fmt::format("Settings are: {}.", known_settings()));
        }
        if (item.values.size() != 1) {
            refuse(item.place, fmt::format("{} takes one value, not a list", item.key), hint);
        }
        values.emplace(item.key, Value{item.values.front(), fmt::format("{}: {}", item.place, item.key)});
    }
    return values;
}

void apply(const Setting& setting, const Value& value, QspiConnection& connection)
{
    try {
        setting.set(connection, value.text);
    } catch (const BadValue& bad) {
        refuse(value.origin, fmt::format("'{}' is not {}", value.text, bad.what()), fmt::format("{}.", setting.help));
    }
}

void require_separate_pins(const Config& config)
{
    struct Line
    {
        const char* name;
        std::uint32_t port;
        std::uint32_t pin;
    };
    const std::array lines{
        Line{"csn", config.CSN_port, config.CSN_pin},    Line{"clk", config.CLK_port, config.CLK_pin},
        Line{"dio0", config.DIO0_port, config.DIO0_pin}, Line{"dio1", config.DIO1_port, config.DIO1_pin},
        Line{"dio2", config.DIO2_port, config.DIO2_pin}, Line{"dio3", config.DIO3_port, config.DIO3_pin},
    };
    for (const Line& line : lines) {
        const auto* const first = std::ranges::find_if(
            lines, [&line](const Line& other) { return other.port == line.port && other.pin == line.pin; });
        if (first != &line) {
            throw Failure{ExitCode::usage,
                          fmt::format("{} and {} are both on pin P{}.{}", first->name, line.name, line.port, line.pin),
                          "Every line has a pin of its own; the board's schematic shows which."};
        }
    }
}

} // namespace

void add_qspi_connection_flags(const Verb& verb, const std::shared_ptr<QspiConnectionFlags>& flags)
{
    constexpr const char* heading = "Connection";
    verb.text("--qspi-config", "FILE", flags->file, "File with the settings below; TESSIT_QSPI_CONFIG names one, too")
        .or_environment("TESSIT_QSPI_CONFIG")
        .under_heading(heading);
    for (const Setting& setting : settings) {
        const Option option = verb.parsed(
            fmt::format("--{}", setting.name), setting.placeholder,
            [flags, name = setting.name](const std::string& text) { flags->values[name] = text; }, setting.help);
        option.under_heading(heading);
        if (setting.otherwise != nullptr && *setting.otherwise != '\0') {
            option.with_default(setting.otherwise);
        }
    }
}

QspiConnection resolve_qspi_connection(const QspiConnectionFlags& flags)
{
    Values values = flags.file.empty() ? Values{} : read_connection_file(flags.file);
    for (const auto& [name, text] : flags.values) {
        values[name] = {text, fmt::format("--{}", name)};
    }
    QspiConnection connection;
    std::vector<std::string_view> missing;
    for (const Setting& setting : settings) {
        if (const auto given = values.find(setting.name); given != values.end()) {
            apply(setting, given->second, connection);
        } else if (setting.otherwise == nullptr) {
            missing.emplace_back(setting.name);
        } else if (*setting.otherwise != '\0') {
            setting.set(connection, setting.otherwise);
        }
    }
    if (!missing.empty()) {
        throw Failure{ExitCode::usage,
                      fmt::format("the connection of the external flash is not complete: {} {} missing",
                                  joined(missing), missing.size() == 1 ? "is" : "are"),
                      "Name the board's file with --qspi-config FILE; `tessit qspi example FILE` writes one to start "
                      "from."};
    }
    require_separate_pins(connection.config);
    return connection;
}

std::string example_qspi_connection()
{
    std::string text =
        "# How a board connects its external flash. Use it with tessit qspi --qspi-config FILE, or name\n"
        "# it in the environment variable TESSIT_QSPI_CONFIG. Flags of the same names win.\n";
    bool in_optional_part = false;
    for (const Setting& setting : settings) {
        const bool is_optional = setting.otherwise != nullptr;
        if (is_optional && !in_optional_part) {
            text += "\n# What may be left out, with its defaults.\n";
            in_optional_part = true;
        }
        text +=
            fmt::format("{:<28}# {}\n",
                        fmt::format("{}{} = {}", is_optional ? "# " : "", setting.name, setting.example), setting.help);
    }
    return text;
}

} // namespace tessit::cli
