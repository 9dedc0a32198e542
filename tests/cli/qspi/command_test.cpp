// `qspi`: images into the external flash of a simulated board and back out of it.
#include "tests/cli/program/bench_fixture.h"

#include <csignal>
#include <filesystem>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class QspiTest : public BenchTest
{
protected:
    QspiTest()
    {
        set_flash("size = 1048576");
        EXPECT_THAT(tessit({"qspi", "example", board()}), Exits(0));
    }

    void set_flash(const std::string& lines) { set_chip("BIRCH_M2_VA_REV1", "[probe.chip.external_flash]\n" + lines); }

    static constexpr std::size_t flash_bytes = 1048576;

    std::string board() const { return path("board.toml"); }

    Arguments on_board(const Arguments& arguments) const { return join({"qspi", "--qspi-config", board()}, arguments); }
    Outcome qspi(const Arguments& arguments) const { return tessit(on_board(arguments)); }
    nlohmann::json qspi_json(const Arguments& arguments) const { return tessit_json(on_board(arguments)); }

    // The whole flash, as another process reads it.
    std::string whole_flash() const
    {
        EXPECT_THAT(qspi({"read", "all", "--output", path("whole.bin")}), Exits(0));
        return content("whole.bin");
    }
};

TEST_F(QspiTest, AnImageOfTheWholeFlashIsReadBackByAnotherProcess)
{
    const std::string image = binary("image.bin", flash_bytes);
    const auto written = qspi_json({"write", image + "@0", "--read-mode", "4", "--write-mode", "3", "--divider", "1"});
    EXPECT_EQ(written["verified_bytes"], flash_bytes);
    EXPECT_EQ(written["erased"].size(), 1U) << "reading all of it would take longer";
    EXPECT_TRUE(whole_flash() == content("image.bin"));
    const auto again = qspi_json({"write", image + "@0"});
    EXPECT_EQ(again["sectors_changed"], 0);
    EXPECT_EQ(again["written_bytes"], 0);
    // Around what is written, and in the same sectors, everything stays.
    std::string expected = content("image.bin");
    for (const auto& [address, length] : {std::pair{0x1FFFDU, 5U}, {0x40003U, 4097U}, {0x80001U, 2U}}) {
        const std::string patch = binary("patch.bin", length, length);
        ASSERT_THAT(qspi({"write", patch + "@" + std::to_string(address)}), Exits(0));
        expected.replace(address, length, content("patch.bin"));
    }
    EXPECT_TRUE(whole_flash() == expected);
}

TEST_F(QspiTest, ErasesAreTheLargestThatFitAndWholeSectorsOnly)
{
    ASSERT_THAT(qspi({"write", binary("before.bin", flash_bytes) + "@0"}), Exits(0));
    const auto written = qspi_json({"write", binary("image.bin", 0x1A000, 2) + "@0xF000"});
    EXPECT_EQ(written["erased"].dump(), R"([{"address":61440,"bytes":4096},{"address":65536,"bytes":65536},)"
                                        R"({"address":131072,"bytes":32768},{"address":163840,"bytes":4096}])");
    ASSERT_THAT(qspi({"erase", "--range", "0x8000-0x21000"}), Exits(0));
    std::string expected = content("before.bin");
    expected.replace(0xF000, 0x1A000, content("image.bin"));
    expected.replace(0x8000, 0x19000, std::string(0x19000, '\xFF'));
    EXPECT_TRUE(whole_flash() == expected);

    EXPECT_THAT(qspi({"erase"}), FailsWith(2, "needs to be told what to erase"));
    EXPECT_THAT(qspi({"erase", "--range", "0x8100+0x1000"}), FailsWith(2, "--range 0x00008000-0x0000a000"));
    EXPECT_THAT(qspi({"erase", "--range", "0xFF000+0x2000"}), FailsWith(2, "which has 1 MiB"));
    EXPECT_TRUE(whole_flash() == expected);
    ASSERT_THAT(qspi({"erase", "--all"}), Exits(0));
    EXPECT_EQ(whole_flash().find_first_not_of('\xFF'), std::string::npos);
}

TEST_F(QspiTest, WhatDoesNotFitIsRefusedBeforeAnythingIsErased)
{
    ASSERT_THAT(qspi({"write", binary("before.bin", 4096) + "@0xFF000"}), Exits(0));
    const std::string image = binary("image.bin", 5000, 2);
    EXPECT_THAT(qspi({"write", image + "@0xFF000"}), FailsWith(2, "nothing was erased"));
    EXPECT_THAT(qspi({"write", image + "@0x80000", "--flash-size", "512k"}), FailsWith(2, "which has 512 KiB"));
    EXPECT_THAT(qspi({"write", image + "@0x1000", "--base", "0x2000"}), FailsWith(2, "before --base"));
    EXPECT_THAT(qspi({"read", "0xFFFF0+32"}), FailsWith(2, "reaches beyond the external flash"));
    EXPECT_TRUE(whole_flash().substr(0xFF000) == content("before.bin"));

    // An image that is linked to where the CPU would see the flash.
    EXPECT_THAT(qspi({"write", image + "@0x12000000", "--base", "0x12000000"}), Exits(0));
    EXPECT_THAT(qspi({"verify", image + "@0"}), Exits(0));

    set_flash("size = 33554432");
    std::filesystem::remove_all(path("bench.toml.state"));
    EXPECT_THAT(qspi({"write", image + "@0xFFF000"}), FailsWith(2, "--address-bits 32"));
    EXPECT_THAT(qspi({"write", image + "@0x1234567", "--address-bits", "32"}), Exits(0));
    EXPECT_THAT(qspi({"verify", image + "@0x1234567", "--address-bits", "32"}), Exits(0));
}

TEST_F(QspiTest, InfoTellsWhatTheFlashTells)
{
    EXPECT_THAT(qspi({"info"}).output, AllOf(HasSubstr("5a 51 14"), HasSubstr("1 MiB")));
    const auto info = qspi_json({"info", "--flash-size", "512k"});
    EXPECT_THAT(info["identification"], ElementsAre(0x5A, 0x51, 20));
    EXPECT_EQ(info["size"], 524288);
    EXPECT_EQ(info["status"], 0);

    EXPECT_EQ(qspi({"custom", "0x9f", "--receive", "3"}).output, "5a 51 14\n");
    EXPECT_THAT(qspi({"custom", "0x06"}), Exits(0));
    EXPECT_EQ(qspi({"custom", "0x05", "--receive", "1"}).output, "02\n");
    ASSERT_THAT(qspi({"write", file("a.bin", "0123456789") + "@0x100"}), Exits(0));
    EXPECT_EQ(qspi({"custom", "0x03", "0", "1", "0", "--receive", "10"}).output, "30 31 32 33 34 35 36 37 38 39\n");
    EXPECT_THAT(qspi({"custom", "0x100"}), FailsWith(2, "larger than 0xff"));
}

TEST_F(QspiTest, RetainedRamIsAsItWasAndTheFirmwareGoesOn)
{
    program_endless_loop();
    ASSERT_THAT(tessit({"write", "0x20000000", "0x11111111"}), Exits(0));
    ASSERT_THAT(tessit({"write", "0x20001000", "0x22222222"}), Exits(0));
    ASSERT_THAT(tessit({"go"}), Exits(0));
    const std::string image = binary("image.bin", 10000) + "@0";
    EXPECT_THAT(qspi({"write", image, "--retain-ram"}), Exits(0));
    EXPECT_EQ(memory("0x20000000+4") + memory("0x20001000+4"), "1111111122222222");
    EXPECT_EQ(cpu(), "running");
    EXPECT_THAT(qspi({"verify", image}), AllOf(Exits(0), testing::Field(&Outcome::errors, HasSubstr("CPU is halted"))));
    EXPECT_EQ(cpu(), "halted");
    EXPECT_NE(memory("0x20000000+4"), "11111111");
}

TEST_F(QspiTest, WhatAFlashCannotDoIsAClearError)
{
    const std::string image = file("a.bin", "abcd") + "@0";
    set_flash("size = 1048576\nmissing = true");
    EXPECT_THAT(qspi({"write", image}), FailsWith(1, "no external flash answers (its identification reads ff ff ff)"));

    set_flash("size = 1048576\nfaults = [\"never_ready\"]\nwip_bit = 3");
    EXPECT_THAT(qspi({"write", image, "--ready-timeout", "1", "--wip-bit", "3"}), FailsWith(1, "still busy after 1 s"));

    set_flash("size = 1048576");
    ASSERT_THAT(qspi({"write", image}), Exits(0));
    EXPECT_THAT(qspi({"write", file("b.bin", "abXd") + "@0", "--erase", "none"}),
                FailsWith(1, "0x00000002 holds 0x63 and cannot become 0x58"));
    EXPECT_THAT(qspi({"verify", path("b.bin") + "@0"}), FailsWith(6, "0x00000002  expected 0x58, found 0x63"));
    EXPECT_THAT(qspi({"read", "0+6"}).output, StartsWith("00000000  61 62 63 64 ff ff"));
    set_flash("size = 1048576\nprotected = true");
    EXPECT_THAT(qspi({"write", file("b.bin", "xyzw") + "@0"}),
                FailsWith(1, "did not carry out its erase: the byte at 0x00000000 still holds 0x61"));
    EXPECT_THAT(qspi({"erase", "--all"}), FailsWith(1, "did not carry out its erase"));
    EXPECT_THAT(qspi({"write", image.substr(0, image.size() - 1) + "0x1000"}), FailsWith(6, "write-protected"));
    EXPECT_THAT(take_records(), HasSubstr("serial-flash-protected"));
    set_flash("size = 1048576");
    EXPECT_THAT(qspi({"verify", image}), Exits(0)) << "nothing was changed";
}

TEST_F(QspiTest, AnInterruptedWriteLeavesWhatWasWritten)
{
    const std::string image = binary("image.bin", flash_bytes) + "@0";
    RunningCommand command{on_board({"write", image, "--erase", "none", "--sim", "-v", "--progress=json"}),
                           environment()};
    ASSERT_TRUE(command.wait_for("Birch_qspi_write\"", 2)); // nobody reads on, so it cannot go on for long
    command.signal(SIGINT);
    const Outcome outcome = command.finish();
    EXPECT_THAT(outcome, Exits(130));
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("partly written"), HasSubstr("Birch_qspi_uninit")));
    const std::string found = whole_flash();
    EXPECT_TRUE(found.substr(0, 65536) == content("image.bin").substr(0, 65536));
    EXPECT_EQ(found.find_first_not_of('\xFF', 917504), std::string::npos);
    EXPECT_THAT(qspi({"write", image}), Exits(0));
    EXPECT_TRUE(whole_flash() == content("image.bin"));
}

TEST_F(QspiTest, ChipsAndCommandLinesThatCannotWorkAreRefused)
{
    EXPECT_THAT(qspi({"info", "--dio1", "P0.19"}), FailsWith(2, "clk and dio1 are both on pin P0.19"));
    EXPECT_THAT(tessit({"qspi", "example", board()}), FailsWith(1, "exists already"));
    set_chip("BIRCH_M1_VA_REV2");
    EXPECT_THAT(qspi({"info"}), FailsWith(2, "this chip version does not support it"));
}

} // namespace
} // namespace tessit::cli
