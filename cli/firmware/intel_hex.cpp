#include "cli/firmware/firmware.h"
#include "cli/firmware/records.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace tessit::cli {
namespace {

enum RecordType : std::uint8_t
{
    data_record = 0,
    end_of_file = 1,
    extended_segment_address = 2,
    start_segment_address = 3,
    extended_linear_address = 4,
    start_linear_address = 5,
};

// Records that divide a file into parts for different boards.
constexpr std::uint8_t first_of_boards = 0x0A;
constexpr std::uint8_t last_of_boards = 0x0E;

constexpr std::uint32_t record_window = 0x10000; // what the 16 bits of a record's address reach
constexpr std::size_t frame_bytes = 5;           // length, address (2), type, checksum

struct Record
{
    std::uint8_t type = 0;
    std::uint16_t offset = 0;
    std::vector<std::uint8_t> data;
};

constexpr std::array<int, 6> data_lengths{-1, 0, 2, 4, 2, 4}; // by type; -1 is any

std::uint8_t sum_of(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

Record decode_record(const RecordLines& lines)
{
    if (!lines.line().starts_with(':')) {
        lines.refuse("the line does not begin with ':'");
    }
    const std::vector<std::uint8_t> bytes = lines.decode(lines.line().substr(1));
    if (bytes.size() < frame_bytes) {
        lines.refuse("the record is too short");
    }
    if (bytes.size() != bytes[0] + frame_bytes) {
        lines.refuse(
            fmt::format("the record announces {} data bytes and has {}", bytes[0], bytes.size() - frame_bytes));
    }
    const auto expected = static_cast<std::uint8_t>(-sum_of(std::span{bytes}.first(bytes.size() - 1)));
    if (bytes.back() != expected) {
        lines.refuse(fmt::format("the checksum is 0x{:02X} and should be 0x{:02X}", bytes.back(), expected));
    }
    const std::uint8_t type = bytes[3];
    if (type >= first_of_boards && type <= last_of_boards) {
        lines.refuse("the file holds firmware for boards of several kinds",
                     "Give the Intel HEX file for this board alone.");
    }
    if (type >= data_lengths.size()) {
        lines.refuse(fmt::format("record type 0x{:02X} is not known", type));
    }
    if (data_lengths[type] >= 0 && bytes[0] != data_lengths[type]) {
        lines.refuse(fmt::format("a record of type {} has {} data bytes, not {}", type, data_lengths[type], bytes[0]));
    }
    return {type, static_cast<std::uint16_t>(bytes[1] << 8 | bytes[2]), {bytes.begin() + 4, bytes.end() - 1}};
}

std::uint32_t big_endian_16(const std::vector<std::uint8_t>& data)
{
    return static_cast<std::uint32_t>(data[0] << 8 | data[1]);
}

// Where the addresses of data records are counted from.
struct Base
{
    std::uint32_t address = 0;
    bool is_segment = false; // within a segment the offset wraps at 64 KiB
};

void add_data(const RecordLines& lines, Image& image, const Base& base, const Record& record)
{
    const std::span<const std::uint8_t> data{record.data};
    const std::size_t before_wrap =
        base.is_segment ? std::min<std::size_t>(data.size(), record_window - record.offset) : data.size();
    const std::uint64_t address = std::uint64_t{base.address} + record.offset;
    lines.add(image, static_cast<std::uint32_t>(address), data.first(before_wrap));
    lines.add(image, base.address, data.subspan(before_wrap));
}

} // namespace

Image parse_intel_hex(std::string_view text, const std::string& name)
{
    Image image;
    Base base;
    RecordLines lines{text, name};
    while (lines.next()) {
        const Record record = decode_record(lines);
        switch (record.type) {
        case data_record:
            add_data(lines, image, base, record);
            break;
        case extended_segment_address:
            base = {big_endian_16(record.data) << 4, true};
            break;
        case extended_linear_address:
            base = {big_endian_16(record.data) << 16, false};
            break;
        case end_of_file:
            if (lines.next()) {
                lines.refuse("there is more after the end-of-file record");
            }
            return image;
        default: // a start address is for a loader that also starts the program
            break;
        }
    }
    lines.refuse_truncated(":00000001FF");
}

std::string to_intel_hex(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t bytes_per_record = 16;
    std::string text;
    const auto write_record = [&text](std::uint16_t offset, std::uint8_t type, std::span<const std::uint8_t> data) {
        std::vector<std::uint8_t> record{static_cast<std::uint8_t>(data.size()), static_cast<std::uint8_t>(offset >> 8),
                                         static_cast<std::uint8_t>(offset), type};
        record.insert(record.end(), data.begin(), data.end());
        record.push_back(static_cast<std::uint8_t>(-sum_of(record)));
        text += fmt::format(":{:02X}\n", fmt::join(record, ""));
    };

    std::uint32_t window = 0;
    while (!bytes.empty()) {
        if (const std::uint32_t wanted = address / record_window; wanted != window) {
            window = wanted;
            const std::array upper{static_cast<std::uint8_t>(window >> 8), static_cast<std::uint8_t>(window)};
            write_record(0, extended_linear_address, upper);
        }
        const std::size_t to_window_end = record_window - address % record_window;
        const std::size_t length = std::min({bytes.size(), bytes_per_record, to_window_end});
        write_record(static_cast<std::uint16_t>(address), data_record, bytes.first(length));
        bytes = bytes.subspan(length);
        address += static_cast<std::uint32_t>(length);
    }
    write_record(0, end_of_file, {});
    return text;
}

} // namespace tessit::cli
