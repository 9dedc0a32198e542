#include "cli/line/unit_values.h"

#include "base/little_endian.h"
#include "cli/failure.h"
#include "cli/firmware/file.h"
#include "cli/text/numbers.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <set>
#include <string_view>

namespace tessit::cli {
namespace {

constexpr std::uint64_t largest_units_file = std::uint64_t{16} * 1024 * 1024;
constexpr const char* example = "The first line is serial,ADDRESS,ADDRESS..., and each other one a unit: "
                                "600000001,0x1234,0xabcd.";

using Cells = std::vector<std::string>;

// What spreadsheets put around a value is no part of it.
std::string trimmed(std::string_view cell)
{
    const auto strip = [&cell](std::string_view characters) {
        const std::size_t first = std::min(cell.find_first_not_of(characters), cell.size());
        cell = cell.substr(first, cell.find_last_not_of(characters) + 1 - first);
    };
    strip(" \t\r");
    if (cell.size() >= 2 && cell.front() == '"' && cell.back() == '"') {
        cell = cell.substr(1, cell.size() - 2);
        strip(" \t");
    }
    return std::string{cell};
}

Cells split(std::string_view line)
{
    Cells cells;
    for (std::size_t comma = line.find(','); comma != std::string_view::npos; comma = line.find(',')) {
        cells.push_back(trimmed(line.substr(0, comma)));
        line.remove_prefix(comma + 1);
    }
    cells.push_back(trimmed(line));
    return cells;
}

class Reader
{
public:
    Reader(const std::filesystem::path& file, std::map<std::uint32_t, UnitValues>& units) : file_{file}, units_{units}
    {
    }

    void read()
    {
        const std::string content = read_file(file_, largest_units_file);
        std::string_view text = content;
        if (constexpr std::string_view mark = "\xEF\xBB\xBF"; text.starts_with(mark)) {
            text.remove_prefix(mark.size());
        }
        while (!text.empty()) {
            ++line_;
            const std::string_view line = text.substr(0, text.find('\n'));
            text.remove_prefix(std::min(text.size(), line.size() + 1));
            if (!trimmed(line).empty()) {
                take(split(line));
            }
        }
        if (units_.empty()) {
            refuse("there is no unit in it");
        }
    }

private:
    [[noreturn]] void refuse(const std::string& reason) const
    {
        throw Failure{ExitCode::usage, fmt::format("{}:{}: {}; nothing was begun", file_.string(), line_, reason),
                      example};
    }

    template <typename Parse>
    auto parse(Parse parse_cell) const
    {
        try {
            return parse_cell();
        } catch (const Failure& failure) {
            refuse(failure.what());
        }
    }

    void take(const Cells& cells)
    {
        if (addresses_.empty()) {
            take_heading(cells);
        } else {
            take_unit(cells);
        }
    }

    void take_heading(const Cells& cells)
    {
        if (cells.front() != "serial" || cells.size() < 2) {
            refuse("the first line has to be serial,ADDRESS,...");
        }
        std::set<std::uint32_t> known;
        for (std::size_t i = 1; i < cells.size(); ++i) {
            addresses_.push_back(parse([&] { return parse_word_address(cells[i]); }));
            if (!known.insert(addresses_.back()).second) {
                refuse(fmt::format("the address {} has two columns", cells[i]));
            }
        }
    }

    void take_unit(const Cells& cells)
    {
        if (cells.size() != addresses_.size() + 1) {
            refuse(fmt::format("{} values, and the first line has {}", cells.size(), addresses_.size() + 1));
        }
        const std::uint32_t serial = parse([&] { return parse_u32(cells.front(), "serial number"); });
        UnitValues values;
        for (std::size_t i = 0; i < addresses_.size(); ++i) {
            values.push_back({addresses_[i], parse([&] { return parse_u32(cells[i + 1], "value"); })});
        }
        if (!units_.emplace(serial, std::move(values)).second) {
            refuse(fmt::format("the unit {} is there already", serial));
        }
    }

    const std::filesystem::path& file_;
    std::map<std::uint32_t, UnitValues>& units_;
    std::vector<std::uint32_t> addresses_;
    std::size_t line_ = 0;
};

} // namespace

std::optional<UnitValue> parse_unit_value(const std::string& text)
{
    if (text.starts_with("0x") && text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos) {
        throw Failure{
            ExitCode::usage, fmt::format("{} is an address without a value", text),
            fmt::format("Give the value with it, as {}=0x1234; for a file of that name give ./{}.", text, text)};
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || text.front() < '0' || text.front() > '9') {
        return std::nullopt;
    }
    const std::string address = text.substr(0, equals);
    return UnitValue{parse_word_address(address),
                     parse_u32(std::string_view{text}.substr(equals + 1), fmt::format("value for {}", address))};
}

std::string format_unit_value(const UnitValue& value)
{
    return fmt::format("{:#010x}={:#010x}", value.address, value.value);
}

Json to_json(const UnitValues& values)
{
    Json json = Json::list();
    for (const UnitValue& value : values) {
        json.push_back({{"address", value.address}, {"value", value.value}});
    }
    return json;
}

void add_values(Image& image, const UnitValues& values)
{
    for (const UnitValue& value : values) {
        std::array<std::uint8_t, 4> bytes{};
        little_endian::store_u32(bytes, value.value);
        if (const auto taken = image.add(value.address, bytes)) {
            throw Failure{
                ExitCode::usage,
                fmt::format("there is data for {:#010x} already, where {} is to go", *taken, format_unit_value(value)),
                "Leave the place free in the firmware files, and give each address once."};
        }
    }
}

Units::Units(const std::filesystem::path& file) : file_{file}
{
    Reader{file_, units_}.read();
}

const UnitValues& Units::of(std::uint32_t serial) const
{
    const auto found = units_.find(serial);
    if (found == units_.end()) {
        throw Failure{ExitCode::usage,
                      fmt::format("{} has no line for the unit {}; nothing was begun", file_.string(), serial),
                      "Add the line, or name the probes with --probe."};
    }
    return found->second;
}

} // namespace tessit::cli
