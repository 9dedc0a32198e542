#include "tests/src/library_test.h"

#include "src/log/jlink_log_forwarder.h"

#include <locale>

namespace tessit::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LoggerTest : public LibraryTest
{
protected:
    LoggerTest() { logger.buffer().attach_log_callback("Birch", collect_log); }
    ~LoggerTest() override { logger.buffer().detach_log_callback(); }
};

TEST_F(LoggerTest, EveryOperationDeliversItsEntryLineIndentedByItsDepth)
{
    FunctionTag first{"open_dll"};
    {
        FunctionTag second{"halt"};
        FunctionTag third{"read"};
        FunctionTag fourth{"write"};
        logger << "ab" << std::flush;
    }
    log_message("n ", -1, " ", 4000000000u);
    EXPECT_THAT(log_lines, ElementsAre("Birch_open_dll", ". Birch_halt", ". . Birch_read", ". . . Birch_write",
                                       ". . . Birch_write:\tab", "Birch_open_dll:\tn -1 4000000000\n"));
}

TEST_F(LoggerTest, ATextOfOneCharacterIsDroppedAndAMessageWithoutTagHasNoName)
{
    log_message("alone");
    FunctionTag tag{"halt"};
    logger << std::endl;
    EXPECT_THAT(log_lines, ElementsAre(":\talone\n", "Birch_halt", "Birch_halt"));
}

TEST_F(LoggerTest, LongTextsArriveInPiecesOf512Characters)
{
    FunctionTag tag{"halt"};
    log_lines.clear();
    for (const std::size_t length : {510u, 511u, 512u, 600u, 1024u, 5000u}) {
        std::string text(length, 'x');
        text.back() = 'e';
        log_message(text);
        std::string together;
        for (const std::string& line : log_lines) {
            ASSERT_TRUE(line.starts_with("Birch_halt"));
            const auto message = line.substr(std::min(line.size(), std::string{"Birch_halt:\t"}.size()));
            EXPECT_TRUE(message.size() == 512 || &line == &log_lines.back());
            together += message;
        }
        // A line feed that is left alone after a full piece is a text of one character, and dropped.
        EXPECT_EQ(together, length % 512 == 0 ? text : text + "\n") << length;
        log_lines.clear();
    }
}

TEST_F(LoggerTest, NothingIsDeliveredWithoutACallbackAndNothingIsKept)
{
    logger.buffer().detach_log_callback();
    log_message(std::string(700, 'x'));
    logger << "unfinished" << std::flush;
    EXPECT_THAT(log_lines, IsEmpty());
    logger.buffer().attach_log_callback("Birch", collect_log);
    FunctionTag tag{"halt"};
    EXPECT_THAT(log_lines, ElementsAre("Birch_halt"));
}

TEST_F(LoggerTest, ATagThatWasClearedDoesNotPopAgain)
{
    FunctionTag outer{"outer"};
    {
        FunctionTag cleared{"cleared"};
        logger.buffer().clear_tags();
        logger.buffer().push_tag(outer);
    }
    EXPECT_EQ(logger.buffer().depth(), 1u);
    logger.buffer().pop_tag();
    logger.buffer().pop_tag(); // nothing to pop
    EXPECT_EQ(logger.buffer().depth(), 0u);
}

TEST_F(LoggerTest, NumbersDoNotFollowTheHostsLocale)
{
    struct Grouping : std::numpunct<char>
    {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale host = std::locale::global(std::locale{std::locale::classic(), new Grouping});
    log_message(1234567);
    std::locale::global(host);
    EXPECT_THAT(log_messages(), ElementsAre("1234567"));
}

TEST_F(LoggerTest, JLinkTextsArriveUnderTheOperationInProgress)
{
    FunctionTag tag{"connect"};
    log_lines.clear();
    for (const char* const dropped :
         {"", "   \r\n", "T1A2B 000:012", "T1 1:2 anything", "\t", static_cast<const char*>(nullptr)}) {
        jlink_log_forwarder(dropped);
    }
    EXPECT_THAT(log_lines, IsEmpty());
    jlink_log_forwarder("Target voltage too low\r\n");
    jlink_log_forwarder("T is no time stamp");
    jlink_log_forwarder("T1A2B 000 012");
    EXPECT_THAT(log_lines,
                ElementsAre("Birch_connect:\tJLink:\tTarget voltage too low  ",
                            "Birch_connect:\tJLink:\tT is no time stamp", "Birch_connect:\tJLink:\tT1A2B 000 012"));
}

} // namespace
} // namespace tessit::test
