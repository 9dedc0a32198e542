#include "tests/src/library_test.h"

#include <array>
#include <cstring>

namespace tessit::test {
namespace {

using testing::ElementsAre;

/// A J-Link library with 2 up and 3 down channels, whose control records are kept.
class RttTest : public LibraryTest
{
protected:
    RttTest()
    {
        jlink.JLINK_RTTERMINAL_Control = [this](std::uint32_t command, void* record) {
            command_ = command;
            record_.reset();
            if (record != nullptr) {
                std::array<std::uint8_t, 16> bytes{};
                std::memcpy(bytes.data(), record, command == 3 ? 4 : 16);
                record_ = bytes;
            }
            if (command == 3) {
                return found_ ? (record_->front() == 0 ? 2 : 3) : -2;
            }
            if (command == 2) {
                descriptor_ = static_cast<std::uint8_t*>(record);
                std::memcpy(descriptor_ + 8, name_.data(), name_.size());
                descriptor_[40] = 0x34;
                descriptor_[41] = 0x12;
            }
            return control_result_;
        };
    }

    void start()
    {
        open_device();
        ASSERT_EQ(TESSIT_rtt_start(), RESULT_OK);
        forget();
    }

    std::uint32_t command_ = 99;
    std::optional<std::array<std::uint8_t, 16>> record_;
    std::uint8_t* descriptor_ = nullptr;
    std::string name_ = "terminal";
    bool found_ = true;
    std::int32_t control_result_ = 0;
};

TEST_F(RttTest, TheFixedAddressOutlivesACloseButNotAStop)
{
    open();
    EXPECT_EQ(TESSIT_rtt_set_control_block_address(0x20001234), RESULT_OK);
    TESSIT_close_dll();
    open_device();
    EXPECT_EQ(TESSIT_rtt_start(), RESULT_OK);
    EXPECT_THAT(*record_, ElementsAre(0x34, 0x12, 0, 0x20, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(TESSIT_rtt_set_control_block_address(1), ERR_WRONG_STATE);
    EXPECT_EQ(TESSIT_rtt_stop(), RESULT_OK);
    EXPECT_THAT(*record_, ElementsAre(1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(TESSIT_rtt_start(), RESULT_OK);
    EXPECT_FALSE(record_.has_value()) << "stopping forgets the address";
}

TEST_F(RttTest, AFailedStartOrStopLeavesTheState)
{
    open_device();
    jlink.JLINKARM_ExecCommand = [](const char* command, char* error, std::int32_t) {
        return *command == 'S' ? std::strcpy(error, "no range"), 0 : 0;
    };
    EXPECT_EQ(TESSIT_rtt_start(), ERR_JLINK_CALL_FAILED);
    EXPECT_EQ(command_, 99u);
    jlink.JLINKARM_ExecCommand = [](auto, auto, auto) { return 0; };
    control_result_ = -5;
    EXPECT_THAT(TESSIT_rtt_start(),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll RTTERMINAL_Control returned error -5."));
    EXPECT_FALSE(session.rtt_started);
    control_result_ = 0;
    EXPECT_EQ(TESSIT_rtt_start(), RESULT_OK);
    control_result_ = -6;
    EXPECT_EQ(TESSIT_rtt_stop(), ERR_JLINK_CALL_FAILED);
    bool started = false;
    EXPECT_EQ(TESSIT_is_rtt_started(&started), RESULT_OK);
    EXPECT_TRUE(started);
}

TEST_F(RttTest, TheStartedStateOutlivesACloseAndALostConnectionIsReported)
{
    start();
    bool found = false;
    jlink.is_connected = false;
    EXPECT_THAT(TESSIT_rtt_is_control_block_found(&found),
                FailsWith(ERR_WRONG_STATE,
                          "rtt_start has been called, but the connection to the device has been lost, so no "
                          "rtt_is_control_block_found can be performed."));
    EXPECT_EQ(TESSIT_rtt_stop(), ERR_WRONG_STATE);
    session.qspi_initialized = true;
    std::uint8_t byte = 0;
    EXPECT_THAT(TESSIT_qspi_read(0, &byte, 1),
                FailsWith(ERR_WRONG_STATE, "qspi_init has been called, but the connection to the device has been lost, "
                                           "so no qspi_read can be performed."));
    TESSIT_close_dll();
    EXPECT_TRUE(session.qspi_initialized);
    open();
    EXPECT_THAT(TESSIT_rtt_start(),
                FailsWith(ERR_WRONG_STATE, "Cannot call rtt_start when rtt_start has already been called."));
}

TEST_F(RttTest, AControlBlockThatIsNotFoundYetIsNoErrorOfTheQuestionButOneOfTheCount)
{
    start();
    found_ = false;
    bool found = true;
    EXPECT_EQ(TESSIT_rtt_is_control_block_found(&found), RESULT_OK);
    EXPECT_FALSE(found);
    std::uint32_t down = 7;
    std::uint32_t up = 7;
    EXPECT_THAT(TESSIT_rtt_read_channel_count(&down, &up),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll RTTERMINAL_Control returned error -2."));
    found_ = true;
    EXPECT_EQ(TESSIT_rtt_is_control_block_found(&found), RESULT_OK);
    EXPECT_TRUE(found);
    EXPECT_EQ(TESSIT_rtt_read_channel_count(&down, &up), RESULT_OK);
    EXPECT_EQ(up, 2u);
    EXPECT_EQ(down, 3u);
    jlink.JLINK_RTTERMINAL_Control = [](auto, auto) { return -1; };
    EXPECT_EQ(TESSIT_rtt_is_control_block_found(&found), ERR_JLINK_CALL_FAILED);
    EXPECT_TRUE(found);
}

TEST_F(RttTest, ChannelsAreCheckedByDirectionAndPartialTransfersAreReported)
{
    start();
    std::array<std::uint8_t, 8> data{};
    std::uint32_t moved = 99;
    EXPECT_THAT(TESSIT_rtt_read(2, data.data(), 8, &moved),
                FailsWith(ERR_BAD_ARGUMENT, "There is no channel with index 2 in the device."));
    EXPECT_EQ(moved, 99u);
    jlink.JLINK_RTTERMINAL_Write = [](auto, auto, std::uint32_t size) { return static_cast<std::int32_t>(size) - 3; };
    EXPECT_EQ(TESSIT_rtt_write(2, data.data(), 8, &moved), RESULT_OK);
    EXPECT_EQ(moved, 5u);
    EXPECT_EQ(TESSIT_rtt_write(3, data.data(), 8, &moved), ERR_BAD_ARGUMENT);
    EXPECT_EQ(TESSIT_rtt_read(1, data.data(), 0, &moved), RESULT_OK);
    EXPECT_EQ(moved, 0u);
    jlink.JLINK_RTTERMINAL_Read = [](auto, auto, auto) { return -4; };
    EXPECT_THAT(TESSIT_rtt_read(0, data.data(), 8, &moved),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll RTTERMINAL_Read returned error -4."));
    jlink.JLINK_RTTERMINAL_Write = [](auto, auto, auto) { return -4; };
    EXPECT_THAT(TESSIT_rtt_write(0, data.data(), 8, &moved),
                FailsWith(ERR_JLINK_CALL_FAILED, "JLinkARM.dll RTTERMINAL_Write returned error -4."));
}

TEST_F(RttTest, NamesFill32BytesAndAreTerminatedWhereThereIsRoom)
{
    start();
    std::array<char, 40> name{};
    std::uint32_t size = 0;
    const auto info = [&](std::uint32_t length) {
        name.fill('#');
        return TESSIT_rtt_read_channel_info(1, UP_DIRECTION, name.data(), length, &size);
    };
    EXPECT_EQ(info(32), RESULT_OK);
    EXPECT_EQ(size, 0x1234u);
    EXPECT_EQ((std::string{name.data(), 33}), std::string{"terminal"} + std::string(24, '\0') + "#");
    name_ = std::string(32, 'n');
    EXPECT_EQ(info(32), RESULT_OK);
    EXPECT_EQ((std::string{name.data(), 33}), name_ + "#");
    EXPECT_EQ(info(33), RESULT_OK);
    EXPECT_EQ((std::string{name.data(), 34}), name_ + std::string("\0#", 2));
    EXPECT_THAT(TESSIT_rtt_read_channel_info(3, DOWN_DIRECTION, name.data(), 32, &size),
                FailsWith(ERR_BAD_ARGUMENT, "Invalid channel_index provided."));
}

} // namespace
} // namespace tessit::test
