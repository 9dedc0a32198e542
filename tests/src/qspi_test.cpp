#include "tests/src/library_test.h"

#include <array>
#include <bit>

namespace tessit::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto poll = "[40029100]";

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

    /// Calls after the halt that each transfer begins with, a blank after each.
    std::string transfer() const
    {
        std::string made;
        for (const std::string& call : calls()) {
            made += call + ' ';
        }
        EXPECT_TRUE(made.starts_with("Halt() ")) << made;
        return made.substr(std::min<std::size_t>(made.size(), 7));
    }

    static std::string read_step(const std::string& source, const std::string& count)
    {
        return "[40029508]=20000000 [40029504]=" + source + " [4002950C]=" + count +
               " [40029100]=0 [40029004]=1 [40029100] ";
    }

    static std::string write_step(const std::string& destination, const std::string& count)
    {
        return "[40029514]=20001000 [40029510]=" + destination + " [40029518]=" + count + " WriteMem(0x20001000, 0x" +
               count + ") [40029100]=0 [40029008]=1 [40029100] ";
    }

    static std::string custom_step(const std::string& data0, const std::string& data1, const std::string& configuration)
    {
        return "[40029638]=" + data0 + " [4002963C]=" + data1 + " [40029100]=0 [40029634]=" + configuration +
               " [40029100] ";
    }
};

TEST_F(QspiTest, InitConfiguresPinsThenPeripheralThenActivates)
{
    open_device();
    auto c = config();
    c.read_mode = READ_MODE_CODE_4;
    c.write_mode = WRITE_MODE_CODE_3;
    c.address_mode = ADDRESS_MODE_32BIT;
    c.PPSize = PP_SIZE_CODE_1;
    c.frequency = FREQ_DIV16;
    c.spi_mode = SPI_MODE_CODE_1;
    c.sck_delay = 0x80;
    EXPECT_EQ(TESSIT_qspi_init(0, &c), RESULT_OK);
    const auto made = calls();
    EXPECT_THAT(std::vector(made.begin() + 3, made.begin() + 5), ElementsAre("Halt()", "[40000904]=FFFF"));
    EXPECT_THAT(std::vector(made.begin() + 13, made.end()),
                ElementsAre("[50000744]=302", "[5000074C]=302", "[50000750]=302", "[50000754]=302", "[50000A14]=302",
                            "[5000075C]=302", "[40029528]=11", "[40029524]=13", "[40029530]=14", "[40029534]=15",
                            "[40029538]=25", "[4002953C]=17", "[40029544]=105C", "[40029600]=F2040480",
                            "[40029640]=200", "[40029500]=1", "[40029100]=0", "[40029000]=1", poll));
    bool initialized = false;
    EXPECT_EQ(TESSIT_is_qspi_init(&initialized), RESULT_OK);
    EXPECT_TRUE(initialized);
    EXPECT_EQ(TESSIT_qspi_init(0, &c), ERR_WRONG_STATE);
    forget();
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
    const auto ended = calls();
    EXPECT_THAT(std::vector(ended.begin() + 3, ended.end()),
                ElementsAre("Halt()", "[40029010]=1", "[40029054]=1", "[40029500]=0"));
    EXPECT_FALSE(session.qspi_initialized);
}

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
    for (const std::uint32_t frequency : {0u, 1u, 3u, 7u, 15u}) {
        auto valid = config();
        valid.frequency = static_cast<qspi_frequency_t>(frequency);
        EXPECT_EQ(TESSIT_qspi_init(0, &valid), RESULT_OK);
        EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
    }
}

TEST_F(QspiTest, RetainedRamComesBackOnlyWhenItWasReadWhole)
{
    const auto c = config();
    open_device();
    jlink.memory[0x20000000] = 0x11111111;
    jlink.memory[0x20001FFC] = 0x22222222;
    EXPECT_EQ(TESSIT_qspi_init(1, &c), RESULT_OK);
    jlink.memory[0x20000000] = jlink.memory[0x20001FFC] = 0;
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
    EXPECT_EQ(jlink.memory[0x20000000], 0x11111111u);
    EXPECT_EQ(jlink.memory[0x20001FFC], 0x22222222u);

    // None comes back that was not read whole, nor one that an init has left which failed later.
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

TEST_F(QspiTest, ReadsGoHeadThenTailThenMiddle)
{
    init();
    std::array<std::uint8_t, 12> data{};
    EXPECT_EQ(TESSIT_qspi_read(0x1001, data.data(), 10), RESULT_OK);
    EXPECT_EQ(transfer(), read_step("1000", "4") + "ReadMem(0x20000001, 0x3) " + read_step("1008", "4") +
                              "ReadMem(0x20000000, 0x3) " + read_step("1004", "4") + "ReadMem(0x20000000, 0x4) ");
}

TEST_F(QspiTest, WritesAreCutAtTheStagingArea)
{
    init();
    const std::vector<std::uint8_t> data(10000);
    EXPECT_EQ(TESSIT_qspi_write(0, data.data(), 10000), RESULT_OK);
    EXPECT_EQ(transfer(), write_step("0", "1000") + write_step("1000", "1000") + write_step("2000", "710"));
}

TEST_F(QspiTest, ARequestInsideOneWordTouchesOnlyItsOwnBytes)
{
    init();
    jlink.memory[0x20000000] = 0x44332211;
    for (std::uint32_t first = 0; first < 4; ++first) {
        for (std::uint32_t length = 1; first + length <= 3; ++length) {
            forget();
            std::array<std::uint8_t, 6> data{};
            data.fill(0xEE);
            EXPECT_EQ(TESSIT_qspi_read(0x100 + first, data.data() + 1, length), RESULT_OK);
            EXPECT_EQ(std::ranges::count(jlink.calls, "[40029004]=1"), 1);
            for (std::uint32_t i = 0; i < data.size(); ++i) {
                const bool inside = i >= 1 && i < 1 + length;
                EXPECT_EQ(data[i], inside ? 0x11 * (first + i) : 0xEE) << first << "+" << length << " at " << i;
            }
            forget();
            EXPECT_EQ(TESSIT_qspi_write(0x100 + first, data.data() + 1, length), RESULT_OK);
            std::uint32_t expected = 0xFFFFFFFF;
            for (std::uint32_t i = first; i < first + length; ++i) {
                expected = (expected & ~(0xFFu << 8 * i)) | (0x11 * (i + 1)) << 8 * i;
            }
            EXPECT_EQ(jlink.memory[0x20001000], expected);
            EXPECT_EQ(std::ranges::count(jlink.calls, "[40029008]=1"), 1);
        }
    }
}

TEST_F(QspiTest, ErasesWaitForTheFlash)
{
    init();
    const auto status = custom_step("0", "0", "205") + "[40029638] [4002963C] ";
    EXPECT_EQ(TESSIT_qspi_erase(0x123, ERASEALL), RESULT_OK);
    EXPECT_EQ(transfer(), "[4002951C]=123 [40029520]=2 [40029100]=0 [4002900C]=1 [40029100] " + status);
    forget();
    EXPECT_EQ(TESSIT_qspi_erase(0x128000, ERASE32KB), RESULT_OK);
    EXPECT_EQ(transfer(), custom_step("0", "0", "106") + custom_step("8012", "0", "452") + status);
    TESSIT_close_dll();
    session = Session{};

    // The 32-bit mode sends four address bytes, and the levels are kept.
    auto c = config();
    c.address_mode = ADDRESS_MODE_32BIT;
    c.custom_instruction_io2_level = LEVEL_HIGH;
    c.custom_instruction_io3_level = LEVEL_HIGH;
    init(c);
    EXPECT_EQ(TESSIT_qspi_erase(0x01238000, ERASE32KB), RESULT_OK);
    EXPECT_EQ(transfer(), custom_step("0", "0", "3106") + custom_step("802301", "0", "3552") +
                              custom_step("0", "0", "3205") + "[40029638] [4002963C] ");
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
    session.qspi_bounds.erase = std::chrono::milliseconds{3};
    unfinished = 1000;
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASEALL), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_EQ(unfinished, 996) << "a fast host asks no more often than a slow one";
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

TEST_F(QspiTest, CustomInstructionsGoInStepsOfEightBytes)
{
    init();
    EXPECT_EQ(TESSIT_qspi_custom(0xAB, 1, nullptr, nullptr), RESULT_OK);
    EXPECT_EQ(transfer(), custom_step("0", "0", "1AB"));
    forget();
    std::array<std::uint8_t, 19> in{};
    for (std::size_t i = 0; i < in.size(); ++i) {
        in[i] = static_cast<std::uint8_t>(i + 1);
    }
    EXPECT_EQ(TESSIT_qspi_custom(0x9F, 9, in.data(), nullptr), RESULT_OK);
    EXPECT_EQ(transfer(), custom_step("4030201", "8070605", "99F"));
    forget();
    std::array<std::uint8_t, 20> out{};
    out.back() = 0xEE;
    EXPECT_EQ(TESSIT_qspi_custom(0x9F, 20, in.data(), out.data()), RESULT_OK);
    const std::string received = "[40029638] [4002963C] ";
    EXPECT_EQ(transfer(), "[10000130] [10000134] [10000110] " + custom_step("4030201", "8070605", "1099F") + received +
                              custom_step("C0B0A09", "100F0E0D", "1099F") + received +
                              custom_step("131211", "0", "1049F") + received + "[40029634]=3019F ");
    EXPECT_EQ(out[18], 0x13);
    EXPECT_EQ(out[19], 0xEE);
    forget();
    EXPECT_EQ(TESSIT_qspi_custom(0x9F, 17, in.data(), nullptr), RESULT_OK);
    EXPECT_EQ(std::ranges::count_if(jlink.calls, [](auto& call) { return call.starts_with("[40029634]="); }), 3)
        << "no step without a byte";
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
