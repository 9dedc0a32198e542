#include "tests/cli/program/bench_fixture.h"

namespace tessit::cli {

BenchTest::BenchTest()
{
    set_chip("BIRCH_M1_VA_REV2");
}

BenchTest::~BenchTest()
{
    EXPECT_EQ(content("records"), "") << "a real chip would have ignored this, and the test does not expect it";
}

void BenchTest::set_bench(std::string_view toml)
{
    file("bench.toml", toml);
}

void BenchTest::set_chip(const std::string& version, const std::string& lines)
{
    set_bench("[[probe]]\nserial = 600000011\n[probe.chip]\nversion = \"" + version + "\"\n" + lines + "\n");
}

Environment BenchTest::environment(const Environment& extra) const
{
    Environment all = extra;
    all.merge(Environment{{"JLINKARM_SIM_BENCH", path("bench.toml")},
                          {"JLINKARM_SIM_RECORDS", path("records")},
                          {"XDG_CONFIG_HOME", path("config")},
                          {"TESSIT_JLINK", ""},
                          {"TESSIT_PROBE", ""}});
    return all;
}

Outcome BenchTest::tessit(const Arguments& arguments, const Environment& extra, const std::string& input) const
{
    return run_command(join({"--sim"}, arguments), environment(extra), input);
}

nlohmann::json BenchTest::tessit_json(const Arguments& arguments, int exit_code) const
{
    const Outcome outcome = tessit(join({"--json"}, arguments));
    EXPECT_THAT(outcome, Exits(exit_code));
    return nlohmann::json::parse(outcome.output, nullptr, false);
}

std::string BenchTest::binary(std::string_view name, std::size_t length, std::uint32_t seed) const
{
    std::string bytes(length, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525 + 1013904223; // a linear congruential generator
        byte = static_cast<char>(seed >> 24);
    }
    return file(name, bytes);
}

std::string BenchTest::file(std::string_view name, std::string_view content) const
{
    return folder_.write(name, content).string();
}

void BenchTest::program_endless_loop() const
{
    std::string image(0x206, '\0');
    image.replace(0, 8, std::string{"\x00\x10\x00\x20\x01\x02\x00\x00", 8});
    image.replace(0x200, 6, "\x01\x20\x02\x30\xFE\xE7");
    ASSERT_THAT(tessit({"program", file("loop.bin", image) + "@0", "--reset"}), Exits(0));
}

std::string BenchTest::take_records() const
{
    std::string records = content("records");
    file("records", "");
    return records;
}

std::string BenchTest::cpu() const
{
    return tessit_json({"info"}).value("cpu", "");
}

std::string BenchTest::memory(const std::string& range) const
{
    return tessit_json({"read", range}).value("data", "");
}

} // namespace tessit::cli
