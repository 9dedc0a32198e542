#include "tests/src/library_test.h"

#include <array>
#include <bit>

namespace tessit::test {
namespace {

using testing::IsEmpty;

class QspiTest : public LibraryTest
{
protected:
    static qspi_init_config_t config()
    {
        qspi_init_config_t c{};
        c.address_mode = ADDRESS_MODE_24BIT;
        c.CSN_pin = 17;
        c.CLK_pin = 19;
        c.DIO0_pin = 20;
        c.DIO1_pin = 21;
        c.DIO2_pin = 5;
        c.DIO2_port = 1;
        c.DIO3_pin = 23;
        return c;
    }

    void init(const qspi_init_config_t& c = config())
    {
        open_device();
        ASSERT_EQ(TESSIT_qspi_init(0, &c), RESULT_OK);
        forget();
    }
};

TEST_F(QspiTest, EveryInvalidFieldIsRefusedFirstToLastWithNothingSent)
{
    using Words = std::array<std::uint32_t, sizeof(qspi_init_config_t) / 4>;
    struct Field
    {
        std::size_t index;
        std::uint32_t value;
        std::string name;
        std::string why;
    };
    // In checking order, so that spoiling all of them from the last to the first always reports the newest.
    std::vector<Field> fields{
        {0, 5, "read_mode", "cannot be encoded in a qspi_read_mode_t."},
        {1, 4, "write_mode", "cannot be encoded in a qspi_write_mode_t."},
        {2, 2, "address_mode", "cannot be encoded in a qspi_address_mode_t."},
        {3, 2, "frequency", "cannot be encoded in a qspi_frequency_t."},
        {4, 2, "spi_mode", "cannot be encoded in a qspi_spi_mode_t."},
        {6, 2, "custom_instruction_io2_level", "cannot be encoded in a qspi_level_io_t."},
        {7, 2, "custom_instruction_io3_level", "cannot be encoded in a qspi_level_io_t."},
        {5, 256, "sck_delay", "is not between 0 and 255."},
    };
    std::size_t pin = 8;
    for (const std::string line : {"CSN", "CLK", "DIO0", "DIO1", "DIO2", "DIO3"}) {
        fields.push_back({pin + 1, 2, line + "_port", "is not a valid port."});
        fields.push_back({pin, line == "DIO2" ? 16u : 32u, line + "_pin", "is not a valid pin address."});
        pin += 2;
    }
    fields.push_back({pin, 8, "WIP_index", "is not between 0 and 7."});
    fields.push_back({pin + 1, 2, "PPSize", "cannot be encoded in a qspi_page_program_size_t."});
    open_device();
    auto accumulated = std::bit_cast<Words>(config());
    for (auto field = fields.rbegin(); field != fields.rend(); ++field) {
        auto alone = std::bit_cast<Words>(config());
        alone[field->index] = accumulated[field->index] = field->value;
        for (const Words& words : {alone, accumulated}) {
            const auto spoilt = std::bit_cast<qspi_init_config_t>(words);
            EXPECT_THAT(TESSIT_qspi_init(0, &spoilt),
                        FailsWith(ERR_BAD_ARGUMENT, "Invalid init_params->" + field->name +
                                                        " provided. The value received " + field->why));
        }
    }
    EXPECT_THAT(jlink.calls, IsEmpty());
    bool initialized = true;
    for (const std::uint32_t frequency : {0u, 1u, 3u, 7u, 15u}) {
        auto valid = config();
        valid.frequency = static_cast<qspi_frequency_t>(frequency);
        EXPECT_EQ(TESSIT_qspi_init(0, &valid), RESULT_OK);
        EXPECT_EQ(TESSIT_is_qspi_init(&initialized), RESULT_OK);
        EXPECT_TRUE(initialized);
        EXPECT_EQ(TESSIT_qspi_init(0, &valid), ERR_WRONG_STATE);
        EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
        EXPECT_FALSE(session.qspi_initialized);
    }
}

TEST_F(QspiTest, NoRamComesBackThatWasNotReadWholeNorAnInitAgoThatFailedLater)
{
    const auto c = config();
    open_device();
    const auto nothing_comes_back = [&] {
        forget();
        EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
        EXPECT_THAT(jlink.calls, testing::Not(testing::Contains(testing::StartsWith("WriteMem"))));
    };
    const auto read = jlink.JLINKARM_ReadMem;
    jlink.JLINKARM_ReadMem = [&](std::uint32_t address, std::uint32_t length, void* data) {
        return address == 0x20001000 ? -1 : read(address, length, data);
    };
    EXPECT_EQ(TESSIT_qspi_init(1, &c), ERR_JLINK_CALL_FAILED);
    EXPECT_FALSE(session.qspi_initialized);
    nothing_comes_back();

    jlink.JLINKARM_ReadMem = read;
    const auto write = jlink.JLINKARM_WriteU32;
    jlink.JLINKARM_WriteU32 = [&](std::uint32_t address, std::uint32_t value) {
        return address >= 0x40029000 ? -1 : write(address, value);
    };
    EXPECT_EQ(TESSIT_qspi_init(1, &c), ERR_JLINK_CALL_FAILED);
    EXPECT_TRUE(session.qspi_ram_backup_held);
    jlink.JLINKARM_WriteU32 = write;
    EXPECT_EQ(TESSIT_qspi_init(0, &c), RESULT_OK);
    nothing_comes_back();
}

TEST_F(QspiTest, WaitsEndAtTheEventOrAtTheirBounds)
{
    init();
    int unready = 3;
    int unfinished = 3;
    jlink.JLINKARM_ReadMemU32 = [&](std::uint32_t address, auto, std::uint32_t* data, auto) {
        *data = address == 0x40029100 ? --unready < 0 : address == 0x40029638 && --unfinished >= 0;
        return 1;
    };
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASEALL), RESULT_OK);
    EXPECT_LT(unfinished, 0);
    session.qspi_bounds.erase = std::chrono::seconds{3}; // far longer than the answers take here
    unfinished = 10'000;
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASEALL), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_EQ(unfinished, 6'000) << "a fast host asks no more often than a slow one";
    session.qspi_bounds.erase = session.qspi_bounds.ready_event = std::chrono::milliseconds{0};
    jlink.JLINKARM_ReadMemU32 = [](std::uint32_t address, auto, std::uint32_t* data, auto) {
        *data = address == 0x40029100 || address == 0x40029638 ? 1 : 0;
        return 1;
    };
    EXPECT_THAT(TESSIT_qspi_erase(0, ERASEALL),
                FailsWith(ERR_FLASH_CONTROLLER_TIMEOUT, "QSPI flash never finishes its erase."));
    jlink.JLINKARM_ReadMemU32 = [](auto, auto, std::uint32_t* data, auto) { return *data = 0, 1; };
    std::uint8_t byte = 0;
    EXPECT_THAT(TESSIT_qspi_read(0, &byte, 1),
                FailsWith(ERR_FLASH_CONTROLLER_TIMEOUT, "QSPI ready event never comes."));
}

TEST_F(QspiTest, OtherModelsAreRefusedBeforeTheHaltAndLongFramesOnTheFirstEngineeringSample)
{
    use_chip(6, 5);
    open_probe();
    const auto c = config();
    EXPECT_EQ(TESSIT_qspi_init(0, &c), ERR_UNSUPPORTED_ON_DEVICE);
    EXPECT_EQ(TESSIT_qspi_uninit(), ERR_UNSUPPORTED_ON_DEVICE);
    EXPECT_THAT(calls(), testing::Not(testing::Contains("Halt()")));
    TESSIT_close_dll();
    use_chip(8, 0);
    init();
    EXPECT_THAT(TESSIT_qspi_custom(0x9F, 10, nullptr, nullptr),
                FailsWith(ERR_UNSUPPORTED_ON_DEVICE,
                          "Instruction_length greater than 9 is not available for the QSPI peripheral in the device."));
    EXPECT_THAT(jlink.calls, testing::Not(testing::Contains(testing::StartsWith("[400296"))));
    EXPECT_EQ(TESSIT_qspi_custom(0x9F, 9, nullptr, nullptr), RESULT_OK);
}

} // namespace
} // namespace tessit::test
