#include "tests/src/library_test.h"

#include "src/jlink/call_site.h"

#include <filesystem>
#include <fstream>
#include <set>

namespace tessit::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// How far a session must have come for a call to be carried out.
enum class Needs
{
    nothing,
    open,
    probe,
    device, // through the device-ready step
    rtt,    // rtt_start first of all
    qspi,   // qspi_init first of all
};

struct ExportRow
{
    std::string name;
    Needs needs;
    result_code_t (*call)(); // with valid arguments
};

struct BadArgument
{
    std::string name;
    result_code_t (*call)();
    const char* message;
};

std::uint32_t word;
std::uint32_t word2;
bool flag;
char text[40];
std::uint8_t bytes[8];
ram_power_status_t power[24];
readback_protection_status_t protection;
chip_version_t version;
region_0_source_t source;
const qspi_init_config_t qspi{};

// clang-format off
const std::vector<ExportRow> exports{
    {"open_dll", Needs::nothing, [] { return TESSIT_open_dll("jlink", collect_log, BIRCH_FAMILY); }},
    {"close_dll", Needs::nothing, [] { return TESSIT_close_dll(), RESULT_OK; }},
    {"dll_version", Needs::open, [] { return TESSIT_dll_version(&word, &word2, text); }},
    {"is_dll_open", Needs::nothing, [] { return TESSIT_is_dll_open(&flag); }},
    {"enum_emu_snr", Needs::open, [] { return TESSIT_enum_emu_snr(nullptr, 0, &word); }},
    {"is_connected_to_emu", Needs::open, [] { return TESSIT_is_connected_to_emu(&flag); }},
    {"connect_to_emu_with_snr", Needs::open, [] { return TESSIT_connect_to_emu_with_snr(777, 4000); }},
    {"connect_to_emu_without_snr", Needs::open, [] { return TESSIT_connect_to_emu_without_snr(4000); }},
    {"read_connected_emu_snr", Needs::probe, [] { return TESSIT_read_connected_emu_snr(&word); }},
    {"read_connected_emu_fwstr", Needs::probe, [] { return TESSIT_read_connected_emu_fwstr(text, sizeof text); }},
    {"disconnect_from_emu", Needs::open, [] { return TESSIT_disconnect_from_emu(); }},
    {"is_connected_to_device", Needs::probe, [] { return TESSIT_is_connected_to_device(&flag); }},
    {"connect_to_device", Needs::device, [] { return TESSIT_connect_to_device(); }},
    {"disconnect_from_device", Needs::probe, [] { return TESSIT_disconnect_from_device(); }},
    {"readback_status", Needs::probe, [] { return TESSIT_readback_status(&protection); }},
    {"read_device_version", Needs::device, [] { return TESSIT_read_device_version(&version); }},
    {"read_device_family", Needs::nothing, [] { return TESSIT_read_device_family(nullptr) == ERR_WRONG_STATE ? RESULT_OK : ERR_NO_MEMORY; }},
    {"readback_protect", Needs::device, [] { return TESSIT_readback_protect(FULL); }},
    {"recover", Needs::probe, [] { return TESSIT_recover(); }},
    {"read_region_0_size_and_source", Needs::nothing, [] { return TESSIT_read_region_0_size_and_source(&word, &source); }},
    {"sys_reset", Needs::device, [] { return TESSIT_sys_reset(); }},
    {"debug_reset", Needs::probe, [] { return TESSIT_debug_reset(); }},
    {"pin_reset", Needs::probe, [] { return TESSIT_pin_reset(); }},
    {"halt", Needs::device, [] { return TESSIT_halt(); }},
    {"is_halted", Needs::device, [] { return TESSIT_is_halted(&flag); }},
    {"run", Needs::device, [] { return TESSIT_run(0, 0); }},
    {"go", Needs::device, [] { return TESSIT_go(); }},
    {"step", Needs::device, [] { return TESSIT_step(); }},
    {"read_cpu_register", Needs::device, [] { return TESSIT_read_cpu_register(R0, &word); }},
    {"write_cpu_register", Needs::device, [] { return TESSIT_write_cpu_register(R0, 0); }},
    {"read_u32", Needs::device, [] { return TESSIT_read_u32(0, &word); }},
    {"write_u32", Needs::device, [] { return TESSIT_write_u32(0, 0, 0); }},
    {"read", Needs::device, [] { return TESSIT_read(0, bytes, 8); }},
    {"write", Needs::device, [] { return TESSIT_write(0, bytes, 8, 0); }},
    {"ficrwrite_u32", Needs::device, [] { return TESSIT_ficrwrite_u32(0, 0); }},
    {"ficrwrite", Needs::device, [] { return TESSIT_ficrwrite(0, bytes, 8); }},
    {"erase_all", Needs::device, [] { return TESSIT_erase_all(); }},
    {"erase_page", Needs::device, [] { return TESSIT_erase_page(0); }},
    {"erase_uicr", Needs::device, [] { return TESSIT_erase_uicr(); }},
    {"masserase", Needs::device, [] { return TESSIT_masserase(); }},
    {"disable_bprot", Needs::device, [] { return TESSIT_disable_bprot(); }},
    {"read_ram_sections_count", Needs::device, [] { return TESSIT_read_ram_sections_count(&word); }},
    {"read_ram_sections_size", Needs::device, [] { return TESSIT_read_ram_sections_size(reinterpret_cast<std::uint32_t*>(power), 24); }},
    {"read_ram_sections_power_status", Needs::device, [] { return TESSIT_read_ram_sections_power_status(power, 24); }},
    {"is_ram_powered", Needs::device, [] { return TESSIT_is_ram_powered(nullptr, 0, &word, &word2); }},
    {"power_ram_all", Needs::device, [] { return TESSIT_power_ram_all(); }},
    {"unpower_ram_section", Needs::device, [] { return TESSIT_unpower_ram_section(0); }},
    {"read_debug_port_register", Needs::probe, [] { return TESSIT_read_debug_port_register(0, &word); }},
    {"write_debug_port_register", Needs::probe, [] { return TESSIT_write_debug_port_register(0, 0); }},
    {"read_access_port_register", Needs::probe, [] { return TESSIT_read_access_port_register(0, 0, &word); }},
    {"write_access_port_register", Needs::probe, [] { return TESSIT_write_access_port_register(0, 0, 0); }},
    {"rtt_set_control_block_address", Needs::open, [] { return TESSIT_rtt_set_control_block_address(0); }},
    {"rtt_start", Needs::device, [] { return TESSIT_rtt_start(); }},
    {"rtt_is_control_block_found", Needs::rtt, [] { return TESSIT_rtt_is_control_block_found(&flag); }},
    {"rtt_stop", Needs::rtt, [] { return TESSIT_rtt_stop(); }},
    {"is_rtt_started", Needs::open, [] { return TESSIT_is_rtt_started(&flag); }},
    {"rtt_read", Needs::rtt, [] { return TESSIT_rtt_read(0, bytes, 8, &word); }},
    {"rtt_write", Needs::rtt, [] { return TESSIT_rtt_write(0, bytes, 8, &word); }},
    {"rtt_read_channel_count", Needs::rtt, [] { return TESSIT_rtt_read_channel_count(&word, &word2); }},
    {"rtt_read_channel_info", Needs::rtt, [] { return TESSIT_rtt_read_channel_info(0, UP_DIRECTION, text, 32, &word); }},
    {"qspi_init", Needs::device, [] { return TESSIT_qspi_init(0, &qspi); }},
    {"qspi_uninit", Needs::device, [] { return TESSIT_qspi_uninit(); }},
    {"is_qspi_init", Needs::open, [] { return TESSIT_is_qspi_init(&flag); }},
    {"qspi_read", Needs::qspi, [] { return TESSIT_qspi_read(0, bytes, 8); }},
    {"qspi_write", Needs::qspi, [] { return TESSIT_qspi_write(0, bytes, 8); }},
    {"qspi_erase", Needs::qspi, [] { return TESSIT_qspi_erase(0, ERASE4KB); }},
    {"qspi_custom", Needs::qspi, [] { return TESSIT_qspi_custom(0x05, 2, nullptr, bytes); }},
};

constexpr auto unaligned_addr = "Invalid addr provided, it must be word aligned.";
constexpr auto unaligned_register = "Invalid reg_addr provided. Must be 32 bits aligned.";
constexpr auto null_data = "Invalid data pointer provided.";
constexpr auto null_buffer = "Invalid buffer pointer provided.";
constexpr auto no_region_protection = "Invalid desired_protection parameter provided. REGION_0 or BOTH is not a valid protection level for this device.";
constexpr auto no_erase_length = "Invalid length provided. The value received cannot be encoded in a qspi_erase_len_t.";
constexpr auto beyond_24_bits = "Invalid addr provided, QSPI is configured for 24-bit addresses but addr provided does not fit in 24 bits.";

/// Where several arguments are wrong, the message is that of the first check.
const std::vector<BadArgument> bad_arguments{
    {"dll_version", [] { return TESSIT_dll_version(nullptr, nullptr, nullptr); }, "Invalid major pointer provided."},
    {"dll_version", [] { return TESSIT_dll_version(&word, nullptr, nullptr); }, "Invalid minor pointer provided."},
    {"dll_version", [] { return TESSIT_dll_version(&word, &word, nullptr); }, "Invalid revision pointer provided."},
    {"is_dll_opened", [] { return TESSIT_is_dll_open(nullptr); }, "Invalid opened pointer provided."},
    {"enum_emu_snr", [] { return TESSIT_enum_emu_snr(nullptr, 1, nullptr); }, "Invalid num_available pointer provided."},
    {"enum_emu_snr", [] { return TESSIT_enum_emu_snr(nullptr, 1, &word); }, "Invalid serial_numbers pointer provided when the serial_numbers_len is not 0."},
    {"is_connected_to_emu", [] { return TESSIT_is_connected_to_emu(nullptr); }, "Invalid is_pc_connected_to_emu pointer provided."},
    {"connect_to_emu_with_snr", [] { return TESSIT_connect_to_emu_with_snr(1, 50001); }, "Invalid SWD speed requested."},
    {"connect_to_emu_without_snr", [] { return TESSIT_connect_to_emu_without_snr(124); }, "Invalid SWD speed requested."},
    {"read_connected_emu_snr", [] { return TESSIT_read_connected_emu_snr(nullptr); }, "Invalid serial_number pointer provided."},
    {"read_connected_emu_fwstr", [] { return TESSIT_read_connected_emu_fwstr(nullptr, 0x80000000); }, null_buffer},
    {"read_connected_emu_fwstr", [] { return TESSIT_read_connected_emu_fwstr(text, 0x80000000); }, "Invalid buffer_size provided."},
    {"is_connected_to_device", [] { return TESSIT_is_connected_to_device(nullptr); }, "Invalid is_emu_connected_to_device pointer provided."},
    {"readback_status", [] { return TESSIT_readback_status(nullptr); }, "Invalid status pointer provided."},
    {"read_device_version", [] { return TESSIT_read_device_version(nullptr); }, "Invalid version pointer provided."},
    {"readback_protect", [] { return TESSIT_readback_protect(NONE); }, "Invalid desired_protection parameter provided. NONE does not give a meaningful operation."},
    {"readback_protect", [] { return TESSIT_readback_protect(REGION_0); }, no_region_protection},
    {"readback_protect", [] { return TESSIT_readback_protect(BOTH); }, no_region_protection},
    {"readback_protect", [] { return TESSIT_readback_protect(static_cast<readback_protection_status_t>(4)); }, "Invalid desired_protection parameter provided. The value received cannot be encoded in a readback_protection_status_t."},
    {"read_region_0_size_and_source", [] { return TESSIT_read_region_0_size_and_source(nullptr, nullptr); }, "Invalid size pointer provided."},
    {"read_region_0_size_and_source", [] { return TESSIT_read_region_0_size_and_source(&word, nullptr); }, "Invalid source pointer provided."},
    {"is_halted", [] { return TESSIT_is_halted(nullptr); }, "Invalid is_device_halted pointer provided."},
    {"read_cpu_register", [] { return TESSIT_read_cpu_register(static_cast<cpu_register_t>(19), nullptr); }, "Invalid register_name provided."},
    {"read_cpu_register", [] { return TESSIT_read_cpu_register(PSP, nullptr); }, "Invalid register_data pointer provided."},
    {"write_cpu_register", [] { return TESSIT_write_cpu_register(static_cast<cpu_register_t>(-1), 0); }, "Invalid register_name provided."},
    {"read_u32", [] { return TESSIT_read_u32(1, nullptr); }, null_data},
    {"read_u32", [] { return TESSIT_read_u32(2, &word); }, unaligned_addr},
    {"write_u32", [] { return TESSIT_write_u32(3, 0, 0); }, unaligned_addr},
    {"read", [] { return TESSIT_read(0, nullptr, 0); }, "Invalid buffer length provided."},
    {"read", [] { return TESSIT_read(0, nullptr, 1); }, null_buffer},
    {"write", [] { return TESSIT_write(1, nullptr, 0, 0); }, "Invalid buffer length provided, it cannot be 0."},
    {"write", [] { return TESSIT_write(1, nullptr, 1, 0); }, null_buffer},
    {"write", [] { return TESSIT_write(1, bytes, 1, 0); }, unaligned_addr},
    {"ficrwrite_u32", [] { return TESSIT_ficrwrite_u32(1, 0); }, unaligned_addr},
    {"ficrwrite", [] { return TESSIT_ficrwrite(1, nullptr, 0); }, "Invalid buffer length provided, it is 0."},
    {"ficrwrite", [] { return TESSIT_ficrwrite(1, nullptr, 6); }, "Invalid buffer length provided, it must be a multiple of 4."},
    {"ficrwrite", [] { return TESSIT_ficrwrite(1, nullptr, 8); }, null_buffer},
    {"ficrwrite", [] { return TESSIT_ficrwrite(1, bytes, 8); }, unaligned_addr},
    {"read_ram_sections_count", [] { return TESSIT_read_ram_sections_count(nullptr); }, "Invalid ram_sections_count pointer provided."},
    {"read_ram_sections_size", [] { return TESSIT_read_ram_sections_size(nullptr, 24); }, "Invalid ram_sections_size pointer provided."},
    {"read_ram_sections_power_status", [] { return TESSIT_read_ram_sections_power_status(nullptr, 24); }, "Invalid ram_sections_power_status pointer provided."},
    {"is_ram_powered", [] { return TESSIT_is_ram_powered(nullptr, 1, nullptr, nullptr); }, "Invalid ram_sections_number pointer provided."},
    {"is_ram_powered", [] { return TESSIT_is_ram_powered(nullptr, 1, &word, nullptr); }, "Invalid ram_sections_size pointer provided."},
    {"is_ram_powered", [] { return TESSIT_is_ram_powered(nullptr, 1, &word, &word2); }, "Invalid ram_sections_power_status pointer provided. It is NULL but it indicates its size is different than 0."},
    {"read_debug_port_register", [] { return TESSIT_read_debug_port_register(2, nullptr); }, unaligned_register},
    {"read_debug_port_register", [] { return TESSIT_read_debug_port_register(8, nullptr); }, null_data},
    {"read_debug_port_register", [] { return TESSIT_read_debug_port_register(0x18, &word); }, "Invalid reg_addr provided. SELECT register cannot be read."},
    {"write_debug_port_register", [] { return TESSIT_write_debug_port_register(1, 0); }, unaligned_register},
    {"read_access_port_register", [] { return TESSIT_read_access_port_register(0, 3, nullptr); }, unaligned_register},
    {"read_access_port_register", [] { return TESSIT_read_access_port_register(0, 8, nullptr); }, null_data},
    {"write_access_port_register", [] { return TESSIT_write_access_port_register(0, 3, 0); }, unaligned_register},
    {"rtt_is_control_block_found", [] { return TESSIT_rtt_is_control_block_found(nullptr); }, "Invalid is_control_block_found pointer provided."},
    {"is_rtt_started", [] { return TESSIT_is_rtt_started(nullptr); }, "Invalid started pointer provided."},
    {"rtt_read", [] { return TESSIT_rtt_read(0, nullptr, 0, nullptr); }, null_data},
    {"rtt_read", [] { return TESSIT_rtt_read(0, bytes, 0, nullptr); }, "Invalid data_read pointer provided."},
    {"rtt_write", [] { return TESSIT_rtt_write(0, nullptr, 0, nullptr); }, null_data},
    {"rtt_write", [] { return TESSIT_rtt_write(0, bytes, 0, nullptr); }, "Invalid data_written pointer provided."},
    {"rtt_read_channel_count", [] { return TESSIT_rtt_read_channel_count(nullptr, nullptr); }, "Invalid down_channel_number pointer provided."},
    {"rtt_read_channel_count", [] { return TESSIT_rtt_read_channel_count(&word, nullptr); }, "Invalid up_channel_number pointer provided."},
    {"rtt_read_channel_info", [] { return TESSIT_rtt_read_channel_info(0, static_cast<rtt_direction_t>(2), nullptr, 31, nullptr); }, "Invalid channel_name pointer provided."},
    {"rtt_read_channel_info", [] { return TESSIT_rtt_read_channel_info(0, static_cast<rtt_direction_t>(2), text, 31, nullptr); }, "Invalid channel_size pointer provided."},
    {"rtt_read_channel_info", [] { return TESSIT_rtt_read_channel_info(0, static_cast<rtt_direction_t>(2), text, 31, &word); }, "Invalid channel_name length provided. Must be at least 32."},
    {"rtt_read_channel_info", [] { return TESSIT_rtt_read_channel_info(0, static_cast<rtt_direction_t>(-1), text, 32, &word); }, "Invalid dir parameter provided. The value received cannot be encoded in a rtt_direction_t."},
    {"qspi_init", [] { return TESSIT_qspi_init(0, nullptr); }, "Invalid init_params pointer provided."},
    {"is_qspi_init", [] { return TESSIT_is_qspi_init(nullptr); }, "Invalid initialized pointer provided."},
    {"qspi_read", [] { return TESSIT_qspi_read(0, nullptr, 0); }, null_data},
    {"qspi_read", [] { return TESSIT_qspi_read(0, bytes, 0); }, "Invalid data_len provided, it cannot be 0."},
    {"qspi_write", [] { return TESSIT_qspi_write(0, nullptr, 0); }, null_data},
    {"qspi_write", [] { return TESSIT_qspi_write(0x1000000, bytes, 1); }, beyond_24_bits},
    {"qspi_erase", [] { return TESSIT_qspi_erase(0, static_cast<qspi_erase_len_t>(4)); }, no_erase_length},
    {"qspi_erase", [] { return TESSIT_qspi_erase(0, static_cast<qspi_erase_len_t>(-1)); }, no_erase_length},
    {"qspi_erase", [] { return TESSIT_qspi_erase(0x1000001, ERASE4KB); }, beyond_24_bits},
    {"qspi_erase", [] { return TESSIT_qspi_erase(0x800, ERASE4KB); }, "Invalid length provided. The value received is not aligned to ERASE4KB erase length."},
    {"qspi_erase", [] { return TESSIT_qspi_erase(0x8000, ERASE64KB); }, "Invalid length provided. The value received is not aligned to ERASE64KB erase length."},
    {"qspi_erase", [] { return TESSIT_qspi_erase(0x9000, ERASE32KB); }, "Invalid length provided. The value received is not aligned to ERASE32KB erase length."},
    {"qspi_custom", [] { return TESSIT_qspi_custom(0, 0, nullptr, nullptr); }, "Invalid instruction_length parameter provided."},
};
// clang-format on

std::string cannot_call(const std::string& name, const std::string& when)
{
    return "Cannot call " + name + " when " + when + ".";
}

constexpr auto not_open = "open_dll has not been called";
constexpr auto no_probe = "connect_to_emu_without_snr or connect_to_emu_with_snr has not been called";

class AllExportsTest : public LibraryTest
{
protected:
    /// Call, and see that its tag is gone and that its entry line came first.
    result_code_t run(const ExportRow& row)
    {
        forget();
        const result_code_t code = row.call();
        EXPECT_EQ(logger.buffer().depth(), 0u) << row.name;
        return code;
    }
};

std::string read_file(const std::filesystem::path& path)
{
    std::ifstream file{path};
    return {std::istreambuf_iterator<char>{file}, {}};
}

TEST_F(AllExportsTest, EverySourceFileThatCallsTheJLinkLibraryHasItsPlaceInTheList)
{
    const std::set<std::string_view> listed{jlink_calling_files.begin(), jlink_calling_files.end()};
    EXPECT_EQ(listed.size(), jlink_calling_files.size());
    std::set<std::string> calling;
    for (const auto& entry : std::filesystem::recursive_directory_iterator{TESSIT_SOURCE_DIR "/src"}) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() != ".cpp" || name == "jlink.cpp") {
            continue;
        }
        const std::string text = read_file(entry.path());
        if (text.find("checked(jlink()") != std::string::npos || text.find("exec_command(") != std::string::npos) {
            calling.insert(name);
        }
    }
    EXPECT_EQ(calling, (std::set<std::string>{listed.begin(), listed.end()}));
    EXPECT_NE((CallSite{"a/probe.cpp", 5}.number()), (CallSite{"b/device.cpp", 5}.number()));
}

TEST_F(AllExportsTest, ArgumentsAreCheckedBeforeTheState)
{
    for (const BadArgument& bad : bad_arguments) {
        logger.buffer().attach_log_callback("Birch", collect_log);
        forget();
        EXPECT_EQ(bad.call(), ERR_BAD_ARGUMENT) << bad.name;
        EXPECT_THAT(log_lines, ElementsAre("Birch_" + bad.name, "Birch_" + bad.name + ":\t" + bad.message + "\n"));
        EXPECT_EQ(logger.buffer().depth(), 0u) << bad.name;
    }
    EXPECT_THAT(jlink.calls, IsEmpty());
}

TEST_F(AllExportsTest, WithoutAnOpenLibraryEachNamesTheFirstMissingStep)
{
    for (const ExportRow& row : exports) {
        if (row.needs == Needs::nothing) {
            continue;
        }
        logger.buffer().attach_log_callback("Birch", collect_log);
        EXPECT_EQ(run(row), ERR_WRONG_STATE) << row.name;
        const char* const when = row.needs == Needs::rtt    ? "rtt_start has not been called"
                                 : row.needs == Needs::qspi ? "qspi_init has not been called"
                                                            : not_open;
        EXPECT_THAT(log_messages(), ElementsAre(cannot_call(row.name, when)));
    }
    EXPECT_THAT(jlink.calls, IsEmpty());
    session.rtt_started = session.qspi_initialized = true;
    for (const ExportRow& row : exports) {
        if (row.needs == Needs::rtt || row.needs == Needs::qspi) {
            EXPECT_EQ(run(row), ERR_WRONG_STATE) << row.name;
            EXPECT_THAT(log_messages(), ElementsAre(cannot_call(row.name, not_open)));
        }
    }
}

TEST_F(AllExportsTest, WithoutAProbeEachThatNeedsOneSaysSo)
{
    open();
    for (const ExportRow& row : exports) {
        if (row.needs == Needs::nothing || row.needs == Needs::open) {
            continue;
        }
        session.rtt_started = row.needs == Needs::rtt;
        session.qspi_initialized = row.needs == Needs::qspi;
        EXPECT_EQ(run(row), ERR_WRONG_STATE) << row.name;
        EXPECT_THAT(log_messages(), ElementsAre(cannot_call(row.name, no_probe)));
        EXPECT_THAT(jlink.calls, ElementsAre("IsOpen()"));
    }
}

TEST_F(AllExportsTest, AProtectedChipIsNeverConnectedToAndTheRefusalIsSilent)
{
    jlink.protect();
    open_probe();
    for (const ExportRow& row : exports) {
        if (row.needs != Needs::device) {
            continue;
        }
        EXPECT_EQ(run(row), ERR_PROTECTED) << row.name;
        EXPECT_THAT(log_messages(), IsEmpty()) << row.name;
        EXPECT_THAT(calls(), testing::Not(testing::Contains("Connect()"))) << row.name;
    }
}

TEST_F(AllExportsTest, AFailedHaltEndsEveryOperationThatHalts)
{
    const std::set<std::string> no_halt{"connect_to_device",
                                        "is_halted",
                                        "go",
                                        "step",
                                        "read_ram_sections_count",
                                        "read_ram_sections_size",
                                        "read_ram_sections_power_status",
                                        "rtt_start"};
    open_device();
    session.qspi_initialized = true;
    jlink.JLINKARM_Halt = [] { return std::uint8_t{3}; };
    for (const ExportRow& row : exports) {
        if ((row.needs != Needs::device && row.needs != Needs::qspi) || no_halt.contains(row.name)) {
            continue;
        }
        session.qspi_initialized = row.name != "qspi_init";
        EXPECT_EQ(run(row), ERR_JLINK_CALL_FAILED) << row.name;
        EXPECT_EQ(last_of(log_messages()), "JLinkARM.dll Halt returned error 3.") << row.name;
        EXPECT_EQ(last_of(jlink.calls), "Halt()") << row.name;
    }
}

TEST_F(AllExportsTest, EveryExportWorksOnAHealthyTarget)
{
    std::set<std::string> names;
    for (const ExportRow& row : exports) {
        names.insert(row.name);
        session = Session{};
        if (row.needs != Needs::nothing) {
            open();
        }
        if (row.needs >= Needs::probe) {
            ASSERT_EQ(TESSIT_connect_to_emu_with_snr(777, 4000), RESULT_OK);
        }
        if (row.needs == Needs::rtt || row.needs == Needs::qspi) {
            ASSERT_EQ(TESSIT_connect_to_device(), RESULT_OK);
        }
        if (row.needs == Needs::rtt) {
            jlink.JLINK_RTTERMINAL_Control = [](std::uint32_t command, void*) { return command == 3 ? 1 : 0; };
            ASSERT_EQ(TESSIT_rtt_start(), RESULT_OK);
        }
        if (row.needs == Needs::qspi) {
            ASSERT_EQ(TESSIT_qspi_init(0, &qspi), RESULT_OK);
        }
        const bool refused_on_m2 = row.name == "is_ram_powered";
        EXPECT_EQ(run(row), refused_on_m2 ? ERR_UNSUPPORTED_ON_DEVICE : RESULT_OK) << row.name;
        if (row.name != "close_dll") {
            TESSIT_close_dll();
        }
    }
    EXPECT_EQ(names.size(), 67u) << "the table is not complete";
}

} // namespace
} // namespace tessit::test
