/// Words that are a unit's own, such as its serial number, and go into its chip with the image.
#pragma once

#include "cli/firmware/image.h"
#include "cli/text/json.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tessit::cli {

struct UnitValue
{
    std::uint32_t address = 0; ///< a multiple of 4
    std::uint32_t value = 0;

    friend bool operator==(const UnitValue&, const UnitValue&) = default;
};

using UnitValues = std::vector<UnitValue>;

/// "0x10001080=0x1234"; nothing when the text is meant for something else, as it does not begin with a number. An
/// address alone is refused.
std::optional<UnitValue> parse_unit_value(const std::string& text);
/// The same back.
std::string format_unit_value(const UnitValue& value);
Json to_json(const UnitValues& values);

/// Refuses what overlaps.
void add_values(Image& image, const UnitValues& values);

/// A CSV file: `serial,0x10001080,...`, and a line for each unit. It is checked whole; the Failure names file and line.
class Units
{
public:
    explicit Units(const std::filesystem::path& file);

    /// Of the unit on this probe; throws a Failure where the file has none.
    const UnitValues& of(std::uint32_t serial) const;

private:
    std::filesystem::path file_;
    std::map<std::uint32_t, UnitValues> units_;
};

} // namespace tessit::cli
