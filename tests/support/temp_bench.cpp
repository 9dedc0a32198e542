#include "tests/support/temp_bench.h"

#include "jlinkarm_sim.h"

#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>

namespace tessit_test {
namespace {

constexpr std::string_view file_name = "bench.toml";

void require_done(int result)
{
    if (result < 0) {
        throw std::runtime_error(JLINKSIM_error_text());
    }
}

} // namespace

TempBench TempBench::with_chip(std::string_view version, std::string_view chip_lines)
{
    return TempBench{chip_toml(version, chip_lines)};
}

std::string TempBench::chip_toml(std::string_view version, std::string_view chip_lines)
{
    std::string toml = "[[probe]]\nserial = " + std::to_string(serial_number) + "\n[probe.chip]\nversion = \"";
    toml.append(version).append("\"\n").append(chip_lines);
    return toml;
}

TempBench::TempBench(std::string_view toml)
{
    folder_.write(file_name, toml);
    require_done(JLINKSIM_open_bench(path().c_str()));
}

TempBench::~TempBench()
{
    for (const std::string& record : take_records()) {
        ADD_FAILURE() << "the simulation recorded: " << record;
    }
    JLINKSIM_close_bench();
}

std::string TempBench::path() const
{
    return (folder_.path() / file_name).string();
}

void TempBench::reopen()
{
    require_done(JLINKSIM_open_bench(path().c_str()));
}

std::vector<std::string> TempBench::take_records()
{
    std::vector<std::string> records;
    const int count = JLINKSIM_count_records();
    records.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        records.emplace_back(JLINKSIM_record_line(static_cast<std::uint32_t>(i)));
    }
    JLINKSIM_clear_records();
    return records;
}

std::vector<std::string> TempBench::trace() const
{
    std::vector<std::string> lines;
    const int count = JLINKSIM_count_trace();
    lines.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        lines.emplace_back(JLINKSIM_trace_line(static_cast<std::uint32_t>(i)));
    }
    return lines;
}

std::vector<std::uint8_t> TempBench::peek(std::uint32_t address, std::uint32_t length) const
{
    std::vector<std::uint8_t> bytes(length);
    require_done(JLINKSIM_peek(serial_number, address, bytes.data(), length));
    return bytes;
}

std::uint32_t TempBench::peek_word(std::uint32_t address) const
{
    std::uint32_t value = 0;
    require_done(JLINKSIM_peek(serial_number, address, &value, sizeof value));
    return value;
}

void TempBench::poke_word(std::uint32_t address, std::uint32_t value) const
{
    require_done(JLINKSIM_poke(serial_number, address, &value, sizeof value));
}

} // namespace tessit_test
