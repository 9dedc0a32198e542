#include "cli/firmware/firmware.h"
#include "cli/firmware/records.h"

#include <array>
#include <numeric>

namespace tessit::cli {
namespace {

enum class Role
{
    header,
    data,
    reserved,
    count,
    end
};

struct Kind
{
    Role role;
    std::size_t address_bytes;
};

// By the digit after the S.
constexpr std::array<Kind, 10> kinds{{
    {Role::header, 2},
    {Role::data, 2},
    {Role::data, 3},
    {Role::data, 4},
    {Role::reserved, 0},
    {Role::count, 2},
    {Role::count, 3},
    {Role::end, 4},
    {Role::end, 3},
    {Role::end, 2},
}};

struct Record
{
    Role role = Role::header;
    std::uint32_t address = 0; // of a count record: the count
    std::vector<std::uint8_t> data;
};

Record decode_record(const RecordLines& lines)
{
    const std::string_view line = lines.line();
    if (line.size() < 2 || line[0] != 'S' || line[1] < '0' || line[1] > '9') {
        lines.refuse("the line does not begin with 'S' and a digit");
    }
    const Kind kind = kinds[static_cast<std::size_t>(line[1] - '0')];
    if (kind.role == Role::reserved) {
        lines.refuse("S4 records are reserved");
    }
    const std::vector<std::uint8_t> bytes = lines.decode(line.substr(2));
    if (bytes.size() < kind.address_bytes + 2) {
        lines.refuse("the record is too short");
    }
    if (bytes[0] != bytes.size() - 1) {
        lines.refuse(fmt::format("the record announces {} bytes and has {}", bytes[0], bytes.size() - 1));
    }
    const auto expected = static_cast<std::uint8_t>(~std::accumulate(bytes.begin(), bytes.end() - 1, 0U));
    if (bytes.back() != expected) {
        lines.refuse(fmt::format("the checksum is 0x{:02X} and should be 0x{:02X}", bytes.back(), expected));
    }
    const auto data = bytes.begin() + 1 + static_cast<std::ptrdiff_t>(kind.address_bytes);
    const std::uint32_t address = std::accumulate(bytes.begin() + 1, data, std::uint32_t{0},
                                                  [](std::uint32_t sum, std::uint8_t byte) { return sum << 8 | byte; });
    return {kind.role, address, {data, bytes.end() - 1}};
}

} // namespace

Image parse_srecord(std::string_view text, const std::string& name)
{
    Image image;
    std::uint32_t data_records = 0;
    bool is_counted = false; // a count that agrees proves completeness as well: some writers leave the end record out
    RecordLines lines{text, name};
    while (lines.next()) {
        const Record record = decode_record(lines);
        switch (record.role) {
        case Role::data:
            ++data_records;
            is_counted = false;
            lines.add(image, record.address, record.data);
            break;
        case Role::count:
            if (record.address != data_records) {
                lines.refuse(
                    fmt::format("the count says {} data records and there are {}: a part of the file is missing",
                                record.address, data_records));
            }
            is_counted = true;
            break;
        case Role::end:
            if (lines.next()) {
                lines.refuse("there is more after the end record");
            }
            return image;
        default: // the header holds a comment
            break;
        }
    }
    if (is_counted) {
        return image;
    }
    lines.refuse_truncated("S7, S8 or S9");
}

} // namespace tessit::cli
