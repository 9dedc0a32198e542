#include "tests/src/library_test.h"

#include "src/jlink/jlink.h"

#include <regex>

namespace tessit::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using LifecycleTest = LibraryTest;

bool is_open()
{
    bool opened = false;
    EXPECT_EQ(TESSIT_is_dll_open(&opened), RESULT_OK);
    return opened;
}

TEST_F(LifecycleTest, OpeningIsRefusedWithAMessageAndLeavesNothingBehind)
{
    struct Refusal
    {
        const char* why;
        const char* path;
        chip_family_t family;
        bool loads;
        const char* missing;
        std::uint32_t version;
        result_code_t code;
        const char* message;
        int unloads;
    };
    constexpr auto load_failure = "Dll failed to load from the path provided.";
    const Refusal refusals[]{
        {"null path, also with a wrong family", nullptr, chip_family_t{0}, true, "", 50200, ERR_BAD_ARGUMENT,
         "Path to JLinkARM.dll cannot be NULL.", 0},
        {"wrong family", "jlink", chip_family_t{0}, true, "", 50200, ERR_BAD_ARGUMENT,
         "Wrong device family type provided for this dll.", 0},
        {"does not load", "jlink", BIRCH_FAMILY, false, "", 50200, ERR_JLINK_LOAD_FAILED, load_failure, 0},
        {"lacks the first", "jlink", BIRCH_FAMILY, true, "JLINKARM_IsOpen", 50200, ERR_JLINK_LOAD_FAILED, load_failure,
         1},
        {"lacks the last", "jlink", BIRCH_FAMILY, true, "JLINK_RTTERMINAL_Write", 50200, ERR_JLINK_LOAD_FAILED,
         load_failure, 1},
        {"5.01", "jlink", BIRCH_FAMILY, true, "", 50126, ERR_JLINK_TOO_OLD, "Too old version of JLinkARM.dll used.", 1},
        {"4.98", "jlink", BIRCH_FAMILY, true, "", 49800, ERR_JLINK_TOO_OLD, "Too old version of JLinkARM.dll used.", 1},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.why);
        forget();
        jlink.loads = refusal.loads;
        jlink.missing = {refusal.missing};
        jlink.unloads = 0;
        jlink.JLINKARM_GetDLLVersion = [&] { return refusal.version; };
        EXPECT_EQ(TESSIT_open_dll(refusal.path, collect_log, refusal.family), refusal.code);
        EXPECT_EQ(last_of(log_lines), std::string{"Birch_open_dll:\t"} + refusal.message + "\n");
        EXPECT_EQ(jlink.unloads, refusal.unloads);
        EXPECT_EQ(session.jlink_library, nullptr);
        EXPECT_FALSE(is_open());
        EXPECT_EQ(log_messages().size(), 1u) << "the callback is detached";
    }
}

TEST_F(LifecycleTest, VersionsFrom502OnAreAcceptedAndTold)
{
    struct Version
    {
        std::uint32_t value;
        std::uint32_t major;
        std::uint32_t minor;
        char revision;
    };
    for (const Version& version : {Version{50200, 5, 2, ' '}, Version{50202, 5, 2, 'b'}, Version{60000, 6, 0, ' '},
                                   Version{61026, 6, 10, 'z'}}) {
        jlink.JLINKARM_GetDLLVersion = [&] { return version.value; };
        open();
        std::uint32_t major = 0;
        std::uint32_t minor = 0;
        char revision = 0;
        EXPECT_EQ(TESSIT_dll_version(&major, &minor, &revision), RESULT_OK);
        EXPECT_EQ(std::tie(major, minor, revision), std::tie(version.major, version.minor, version.revision));
        TESSIT_close_dll();
    }
}

TEST_F(LifecycleTest, JLinkTextsAreAskedForOnlyWithACallback)
{
    open();
    EXPECT_THAT(jlink.calls, ElementsAre("GetDLLVersion()", "EnableLogCom()"));
    TESSIT_close_dll();
    forget();
    EXPECT_EQ(TESSIT_open_dll("jlink", nullptr, BIRCH_FAMILY), RESULT_OK);
    EXPECT_THAT(jlink.calls, ElementsAre("GetDLLVersion()"));
}

TEST_F(LifecycleTest, ASecondOpenIsRefusedAndItsCallbackStays)
{
    EXPECT_EQ(TESSIT_open_dll("jlink", nullptr, BIRCH_FAMILY), RESULT_OK);
    EXPECT_EQ(TESSIT_open_dll(nullptr, collect_log, chip_family_t{0}), ERR_WRONG_STATE);
    EXPECT_THAT(log_lines,
                ElementsAre("Birch_open_dll",
                            "Birch_open_dll:\tCannot call open_dll when open_dll has already been called.\n"));
    EXPECT_TRUE(is_open());
    EXPECT_EQ(last_of(log_lines), "Birch_is_dll_opened");
}

TEST_F(LifecycleTest, CloseEndsWhatIsOpenAndDetachesTheCallback)
{
    TESSIT_close_dll();
    EXPECT_THAT(jlink.calls, IsEmpty());

    open();
    forget();
    TESSIT_close_dll();
    EXPECT_THAT(jlink.calls, ElementsAre("IsOpen()", "Close()"));
    EXPECT_EQ(jlink.unloads, 1);

    open_device();
    TESSIT_close_dll();
    EXPECT_THAT(jlink.calls, ElementsAre("IsOpen()", "IsConnected()", "[E000EDFC]=0", "Close()"));
    EXPECT_FALSE(session.coresight_configured);
    forget();
    TESSIT_close_dll();
    EXPECT_FALSE(is_open());
    EXPECT_THAT(log_lines, IsEmpty());
    EXPECT_THAT(jlink.calls, IsEmpty());

    open_device();
    jlink.JLINKARM_WriteU32 = [](auto...) { return -1; };
    jlink.unloads = 0;
    TESSIT_close_dll();
    EXPECT_EQ(jlink.unloads, 1) << "also when the disconnect fails";
    EXPECT_FALSE(is_open());
}

TEST_F(LifecycleTest, APendingErrorIsReportedOnceAndCleared)
{
    open();
    forget();
    jlink.error_checks = 0;
    jlink.pending_error = 7;
    bool connected = true;
    EXPECT_EQ(TESSIT_is_connected_to_emu(&connected), RESULT_OK);
    EXPECT_FALSE(connected);
    const std::regex with_line{"JLinkARM\\.dll reported error 7 at line [0-9]+\\."}; // GoogleTest's differ on Windows
    EXPECT_THAT(log_messages(), ElementsAre(testing::Truly(
                                    [&](const std::string& message) { return std::regex_match(message, with_line); })));
    EXPECT_EQ(jlink.error_checks, 1);
    EXPECT_EQ(jlink.error_clears, 1);
    forget();
    EXPECT_EQ(TESSIT_is_connected_to_emu(&connected), RESULT_OK);
    EXPECT_THAT(log_messages(), IsEmpty());
}

TEST_F(LifecycleTest, APendingErrorTellsWhichCallOfAFileLeftIt)
{
    open_device();
    const auto read = jlink.JLINKARM_ReadMemU32;
    jlink.JLINKARM_ReadMemU32 = [&](auto... arguments) { return jlink.pending_error = 7, read(arguments...); };
    const auto write = jlink.JLINKARM_WriteU32;
    jlink.JLINKARM_WriteU32 = [&](auto... arguments) { return jlink.pending_error = 7, write(arguments...); };
    forget();
    std::uint32_t word = 0;
    TESSIT_read_u32(0x20000000, &word);
    TESSIT_write_u32(0x20000000, 0, 0);
    const std::vector<std::string> messages = log_messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_NE(messages[0], messages[1]);
}

TEST_F(LifecycleTest, EveryCallIsFollowedByItsErrorCheck)
{
    open_device();
    jlink.error_checks = 0;
    std::uint32_t word = 0;
    TESSIT_read_u32(0, &word);
    TESSIT_write_u32(0, 1, 1);
    TESSIT_sys_reset();
    TESSIT_step();
    EXPECT_EQ(static_cast<std::size_t>(jlink.error_checks), jlink.calls.size());
    forget();
    jlink.error_checks = 0;
    TESSIT_pin_reset();
    EXPECT_THAT(jlink.calls, Contains("ClrRESET()"));
    EXPECT_EQ(static_cast<std::size_t>(jlink.error_checks), jlink.calls.size() - 1) << "all but ClrRESET";
}

} // namespace
} // namespace tessit::test
