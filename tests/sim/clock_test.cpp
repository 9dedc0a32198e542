// The host's clock is the test's.
#include "sim/jlink/debug_access.h"
#include "sim/jlink/memory_access.h"
#include "sim/jlink/run_control.h"
#include "tests/support/temp_folder.h"

#include <gtest/gtest.h>

namespace jlinksim {
namespace {

std::uint64_t host_time = 0;
std::uint64_t oversleep = 0;
constexpr HostClock host_clock{[] { return host_time; }, [](std::uint64_t ns) { host_time += ns + oversleep; }};

BenchConfig bench_that_counts(const tessit_test::TempFolder& folder, bool real_time)
{
    using namespace std::string_view_literals;
    // ldr r0, [pc, #8]; ldr r1, [r0]; adds r1, #1; str r1, [r0]; b to the second
    folder.write("count.bin", "\0\x10\0\x20\x09\0\0\0\x02\x48\x01\x68\x01\x31\x01\x60\xFB\xE7\0\xBF\0\x01\0\x20"sv);
    return read_bench_file(folder
                               .write("bench.toml", std::string{"real_time = "} + (real_time ? "true" : "false") +
                                                        "\n[[probe]]\nserial = 1\n[probe.chip]\n" +
                                                        "version = \"BIRCH_M1_VA_REV2\"\nflash_file = \"count.bin\"")
                               .string());
}

class HostSleeps : public testing::TestWithParam<bool>
{
protected:
    HostSleeps()
    {
        EXPECT_EQ(session.open(nullptr, nullptr), nullptr);
        session.settings().target_interface = TargetInterface::swd;
        session.settings().device = "BIRCH_M1_VA";
        EXPECT_EQ(session.connect(), 0);
    }

    void sleep(std::uint64_t milliseconds)
    {
        bench.clock().call_ends();
        host_time += milliseconds * 1'000'000;
        bench.clock().call_begins();
        session.let_chip_live();
    }
    std::uint32_t word(std::uint32_t address)
    {
        std::uint32_t value = 0;
        EXPECT_EQ(read_words(session, address, {&value, 1}, nullptr), 1);
        return value;
    }

    tessit_test::TempFolder folder;
    Bench bench{bench_that_counts(folder, GetParam()), host_clock};
    Session session{bench};
};

#if defined(TESSIT_SIM_CPU_UNICORN)
TEST_P(HostSleeps, AreTimeForTheFirmwareWhenTheBenchSaysSo)
{
    constexpr std::uint32_t counter = 0x20000100;
    ASSERT_TRUE(reset(session));
    sleep(0); // what the calls until now took is over
    const std::uint32_t before = word(counter);
    go(session);
    sleep(12);
    EXPECT_TRUE(halt(session));
    EXPECT_EQ(word(counter) - before > 100'000, GetParam());
}
#endif

TEST_P(HostSleeps, AreTimeForAnEraseThroughTheControlAccessPort)
{
    constexpr std::uint32_t control_port = 1U << 24;
    const auto erase_status = [&] {
        std::uint32_t value = 9;
        EXPECT_TRUE(read_debug_register(session, 2, true, value));
        return value;
    };
    EXPECT_TRUE(write_debug_register(session, 2, false, control_port));
    EXPECT_TRUE(write_debug_register(session, 1, true, 1));
    const std::uint64_t modelled = bench.clock().modelled();
    sleep(170);
    EXPECT_EQ(erase_status(), GetParam() ? 0U : 1U);
    EXPECT_EQ(bench.clock().modelled() - modelled >= 500'000'000U, !GetParam()) << "what hosts wait when it is busy";
    EXPECT_EQ(erase_status(), 0U);
    EXPECT_EQ(word(0), 0xFFFFFFFFU);
}

TEST_P(HostSleeps, ACallLastsAsLongAsOnHardwareWhenTheBenchSaysSo)
{
    Clock clock{GetParam(), host_clock};
    const std::uint64_t begin = host_time;
    const auto call = [&clock](std::uint64_t cost, std::uint64_t work) {
        const std::uint64_t before = host_time;
        clock.call_begins();
        clock.advance(cost);
        host_time += work;
        clock.call_ends();
        return host_time - before;
    };
    EXPECT_EQ(call(300'000, 20'000), GetParam() ? 300'000U : 20'000U);
    EXPECT_EQ(call(0, 0), 0U);
    oversleep = 70'000; // the host's sleeps make no call longer on average
    for (int i = 0; i < 10; ++i) {
        call(300'000, 20'000);
    }
    oversleep = 0;
    EXPECT_NEAR(static_cast<double>(host_time - begin), GetParam() ? 3'300'000 : 220'000, 70'000);
    // What a busy machine has lost is made good, but not all of it: calls never take no time for long.
    call(0, 200'000'000);
    EXPECT_LE(call(300'000'000, 0), 100'000'000U);
    call(0, 1'000'000'000);
    EXPECT_GE(call(300'000'000, 0), GetParam() ? 50'000'000U : 0U);
    EXPECT_EQ(clock.modelled(), 603'300'000U);
}

INSTANTIATE_TEST_SUITE_P(Benches, HostSleeps, testing::Bool(),
                         [](const auto& bench) { return bench.param ? "real_time" : "modelled_time"; });

} // namespace
} // namespace jlinksim
