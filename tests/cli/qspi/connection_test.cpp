#include "cli/qspi/connection.h"

#include "cli/failure.h"
#include "tests/support/temp_folder.h"

#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class QspiConnectionTest : public testing::Test
{
protected:
    QspiConnectionFlags with_file(std::string_view content) const
    {
        return {.file = folder.write("board.toml", content).string(), .values = {}};
    }

    static std::string refusal(const QspiConnectionFlags& flags)
    {
        try {
            resolve_qspi_connection(flags);
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::usage);
            EXPECT_NE(failure.hint(), "");
            return failure.what();
        }
        return "accepted";
    }

    tessit_test::TempFolder folder;
};

TEST_F(QspiConnectionTest, TheExampleIsAConnectionAndEveryLineOfItIsValid)
{
    std::string text = example_qspi_connection();
    const QspiConnection defaults = resolve_qspi_connection(with_file(text));
    EXPECT_EQ(defaults.config.CSN_pin, 17U);
    EXPECT_EQ(defaults.config.DIO3_pin, 23U);
    EXPECT_EQ(defaults.config.frequency, FREQ_DIV2);
    EXPECT_FALSE(defaults.flash_size);

    for (std::size_t mark = text.find("\n# "); mark != std::string::npos; mark = text.find("\n# ", mark + 1)) {
        if (text.substr(mark, text.find('\n', mark + 1) - mark).find(" = ") != std::string::npos) {
            text.erase(mark + 1, 2);
        }
    }
    const QspiConnection full = resolve_qspi_connection(with_file(text));
    EXPECT_EQ(full.flash_size, 8U << 20);
    EXPECT_EQ(full.config.frequency, defaults.config.frequency);
    EXPECT_EQ(full.config.custom_instruction_io3_level, defaults.config.custom_instruction_io3_level);
    EXPECT_EQ(full.ready_timeout, defaults.ready_timeout);
}

TEST_F(QspiConnectionTest, FlagsWinOverTheFile)
{
    QspiConnectionFlags flags = with_file(example_qspi_connection() + "read-mode = 4\nwip-bit = 3\n");
    flags.values = {{"csn", "P1.15"},       {"wip-bit", "7"}, {"divider", "16"},
                    {"address-bits", "32"}, {"page", "512"},  {"flash-size", "128k"}};
    const QspiConnection connection = resolve_qspi_connection(flags);
    EXPECT_EQ(connection.config.CSN_port, 1U);
    EXPECT_EQ(connection.config.CSN_pin, 15U);
    EXPECT_EQ(connection.config.read_mode, READ_MODE_CODE_4);
    EXPECT_EQ(connection.config.WIP_index, 7U);
    EXPECT_EQ(connection.config.frequency, FREQ_DIV16);
    EXPECT_EQ(connection.address_bits(), 32U);
    EXPECT_EQ(connection.page_bytes(), 512U);
    EXPECT_EQ(connection.flash_size, 128U << 10);
}

TEST_F(QspiConnectionTest, WrongValuesAreRefusedWithTheirPlace)
{
    EXPECT_THAT(refusal(with_file("csn = \"P0.17\"\nclk = \n")), HasSubstr("board.toml:2: "));
    EXPECT_THAT(refusal(with_file("\ncsm = 3\n")), HasSubstr("board.toml:2: there is no setting 'csm'"));
    EXPECT_THAT(refusal(with_file("wip-bit = 0.5\n")), HasSubstr("board.toml:1: wip-bit is neither"));
    EXPECT_THAT(refusal(with_file("wip-bit = -1\n")), HasSubstr("board.toml:1: wip-bit: '-1' is not a number from 0"));
    EXPECT_THAT(refusal(with_file("csn = \"P0.17\"\nclk = \"P0.19\"\n")),
                AllOf(HasSubstr("not complete"), HasSubstr("dio0, dio1, dio2, dio3 are missing")));
}

TEST_F(QspiConnectionTest, FlagsThatMakeNoSenseAreRefusedByName)
{
    const std::pair<const char*, const char*> wrong[] = {
        {"csn", "17"},        {"csn", "P2.1"},         {"csn", "P0.32"},       {"csn", "P1.16"}, {"csn", "P0."},
        {"read-mode", "5"},   {"write-mode", "4"},     {"address-bits", "16"}, {"divider", "3"}, {"spi-mode", "2"},
        {"sck-delay", "256"}, {"io2-level", "high"},   {"wip-bit", "8"},       {"page", "1024"}, {"flash-size", "0"},
        {"flash-size", "5k"}, {"flash-size", "large"}, {"ready-timeout", "0"},
    };
    for (const auto& [name, value] : wrong) {
        QspiConnectionFlags flags = with_file(example_qspi_connection());
        flags.values[name] = value;
        EXPECT_THAT(refusal(flags), HasSubstr(std::string{"--"} + name + ": '" + value + "' is not ")) << value;
    }
}

} // namespace
} // namespace tessit::cli
