#include "base/environment.h"
#include "src/jlink/functions.h"
#include "tests/sim/target_session.h"

#include <array>
#include <functional>

namespace tessit_test {
namespace {

using tessit::base::set_environment;
using testing::ElementsAre;
using testing::HasSubstr;

/// An environment variable for the length of a test.
class Environment
{
public:
    Environment(const char* name, const std::string& value) : name_(name) { set_environment(name, value); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
    ~Environment() { set_environment(name_, ""); }

private:
    const char* name_;
};

TEST(Trace, tellsEveryCallWithArgumentsAndResult)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    std::uint32_t value = 0;
    ASSERT_EQ(JLINKSIM_start_trace(), 0);
    JLINKARM_IsOpen();
    JLINKARM_EMU_SelectByUSBSN(5);
    ASSERT_EQ(JLINKARM_OpenEx(nullptr, nullptr), nullptr);
    command("Device = BIRCH_M1_VA");
    command("SetDbgPowerDownOnClose = 1");
    JLINKARM_HasError();
    JLINKARM_TIF_Select(1);
    JLINKARM_Connect();
    JLINKARM_Halt();
    JLINKARM_WriteU32(ram, 0xABC);
    JLINKARM_ReadMem(ram, 4, &value);
    JLINKARM_ReadReg(15);
    JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, 0x10000F0);
    close_probe();
    JLINKSIM_stop_trace();
    JLINKARM_IsOpen();
    EXPECT_THAT(bench.trace(),
                ElementsAre("JLINKARM_IsOpen() = 0", "JLINKARM_EMU_SelectByUSBSN(5) = -1", "JLINKARM_OpenEx() = null",
                            "JLINKARM_ExecCommand(\"Device = BIRCH_M1_VA\") = 0",
                            "JLINKARM_ExecCommand(\"SetDbgPowerDownOnClose = 1\") = 0", "JLINKARM_TIF_Select(1) = 0",
                            "JLINKARM_Connect() = 0", "JLINKARM_Halt() = 0", "JLINKARM_WriteU32(0x20000000, 0xABC) = 0",
                            "JLINKARM_ReadMem(0x20000000, 4) = 0", "JLINKARM_ReadReg(15) = 0xFFFFFFFE",
                            "JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, 0x10000F0) = 0",
                            "JLINKARM_WriteU32(0xE000EDFC, 0x0) = 0", "JLINKARM_Close()"));
}

int order(const char* function, const std::function<void(jlinksim_fault_t&)>& describe = {})
{
    jlinksim_fault_t fault{};
    fault.function = function;
    fault.occurrence = 1;
    fault.count = 1;
    if (describe) {
        describe(fault);
    }
    return JLINKSIM_inject_fault(&fault);
}

TEST(Faults, takeTheirTurnAndPass)
{
    const HaltedChip bench;
    ASSERT_EQ(order("JLINKARM_WriteU32",
                    [](jlinksim_fault_t& fault) {
                        fault.occurrence = 2;
                        fault.count = 2;
                        fault.set_result = 1;
                        fault.result = -7;
                        fault.pending_error = 9;
                    }),
              0);
    const std::uint32_t before = read_word(ram + 4);
    EXPECT_EQ(JLINKARM_WriteU32(ram, 1), 0);
    EXPECT_EQ(JLINKARM_HasError(), 0);
    EXPECT_EQ(JLINKARM_WriteU32(ram + 4, 2), -7);
    EXPECT_EQ(JLINKARM_HasError(), 9);
    JLINKARM_ClrError();
    EXPECT_EQ(JLINKARM_WriteU32(ram + 4, 3), -7);
    EXPECT_EQ(read_word(ram + 4), before) << "a replaced call does nothing";
    EXPECT_EQ(JLINKARM_WriteU32(ram + 4, 4), 0);
}

TEST(Faults, fitTheFunctionTheyReplace)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    const auto result = [](std::int32_t value) {
        return [=](jlinksim_fault_t& fault) {
            fault.set_result = 1;
            fault.result = value;
        };
    };
    const auto text = [](const char* value) { return [=](jlinksim_fault_t& fault) { fault.error_text = value; }; };
    ASSERT_EQ(order("JLINKARM_OpenEx", text("No luck.")), 0);
    EXPECT_STREQ(JLINKARM_OpenEx(nullptr, nullptr), "No luck.");
    connect_halted();
    ASSERT_EQ(order("JLINKARM_ExecCommand", text("Not now.")), 0);
    EXPECT_EQ(command("InvalidateCache"), "Not now.");
    ASSERT_EQ(order("JLINKARM_ReadMemU32", [](jlinksim_fault_t& fault) { fault.status = 3; }), 0);
    std::uint32_t value = 0;
    std::uint8_t status = 0;
    EXPECT_EQ(JLINKARM_ReadMemU32(ram, 1, &value, &status), 0);
    EXPECT_EQ(status, 3);
    ASSERT_EQ(order("JLINKARM_IsHalted", result(258)), 0);
    EXPECT_EQ(JLINKARM_IsHalted(), 2) << "cut to a byte";
    ASSERT_EQ(order("JLINKARM_GetDLLVersion", result(50100)), 0);
    EXPECT_EQ(JLINKARM_GetDLLVersion(), 50100U);
    ASSERT_EQ(order("JLINKARM_WriteMem", [](jlinksim_fault_t& fault) { fault.unplug = 1; }), 0);
    EXPECT_LT(JLINKARM_WriteMem(ram, 4, &value), 0);
    EXPECT_EQ(JLINKARM_IsOpen(), 0);
    EXPECT_LT(order("JLINKARM_Unknown", result(1)), 0);
    EXPECT_LT(order("JLINKARM_Halt", [](jlinksim_fault_t& fault) { fault.occurrence = 0; }), 0);
}

TEST(Faults, canBeOrderedForEachFunction)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    for (const char* const function : {
#define NAME_OF(result, name, parameters) #name,
             JLINK_FUNCTIONS(NAME_OF)
#undef NAME_OF
         }) {
        EXPECT_EQ(order(function), 0) << function;
    }
}

TEST(Records, foldEqualAccessesOnlyAndAreCapped)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    connect_halted();
    std::array<std::uint32_t, 40> words{};
    std::array<std::uint8_t, 8> bytes{};
    ASSERT_EQ(JLINKARM_ReadMem(0x4001E700, 6, bytes.data()), 0);
    EXPECT_THAT(bench.take_records(),
                ElementsAre("register-reserved: read of NVMC + 0x700", "register-reserved: read of NVMC + 0x704"));
    ASSERT_GE(JLINKARM_WriteMem(0x4001E700, sizeof words, words.data()), 0);
    const std::vector<std::string> capped = bench.take_records();
    ASSERT_EQ(capped.size(), 17U);
    EXPECT_EQ(capped.back(), "register-reserved: at further places (and 23 more in this call)");
    for (int i = 0; i < 10'005; ++i) {
        JLINKARM_WriteU32(0x4001E700, 0);
    }
    EXPECT_EQ(bench.take_records().back(), "records-not-kept: 5 more lines");
    EXPECT_TRUE(bench.take_records().empty());
}

TEST(Environment, ordersFaultsTraceAndRecords)
{
    const TempFolder folder;
    const Environment trace{"JLINKARM_SIM_TRACE", (folder.path() / "trace.txt").string()};
    const Environment records{"JLINKARM_SIM_RECORDS", (folder.path() / "records.txt").string()};
    const Environment faults{"JLINKARM_SIM_FAULTS",
                             "JLINKARM_Halt#2=1?5;JLINKARM_WriteU32#1@unplug;JLINKARM_OpenEx#1+1!Try = again?"};
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    EXPECT_STREQ(JLINKARM_OpenEx(nullptr, nullptr), "Try = again?");
    connect_halted();
    EXPECT_EQ(JLINKARM_Halt(), 1);
    EXPECT_EQ(JLINKARM_HasError(), 5);
    const std::array<std::uint32_t, 2> words{};
    EXPECT_LT(JLINKARM_WriteMem(0x1000, 4, words.data()), 5);
    EXPECT_LT(JLINKARM_WriteMem(0x2000, 4, words.data()), 5);
    EXPECT_NE(JLINKARM_WriteU32(ram, 0), 0);
    EXPECT_THAT(folder.read("trace.txt"), HasSubstr("JLINKARM_Halt() = 1\nJLINKARM_HasError() = 5\n"));
    EXPECT_EQ(folder.read("records.txt"), "flash-write-disabled: 0x00001000 (flash)\n"
                                          "flash-write-disabled: 0x00002000 (flash)\n");
    bench.take_records();
}

TEST(Environment, thatCannotBeUnderstoodFailsTheOpening)
{
    const TempFolder folder;
    const std::string path = folder.write("bench.toml", "[[probe]]\nserial = 5\n").string();
    for (const char* const text : {"JLINKARM_Halt", "JLINKARM_Halt#", "JLINKARM_Halt#1", "JLINKARM_Halt#0=1",
                                   "JLINKARM_Halt#1=", "JLINKARM_Halt#1=x", "JLINKARM_Halt#1*", "Halt#1=1"}) {
        const Environment faults{"JLINKARM_SIM_FAULTS", text};
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0) << text;
        EXPECT_STRNE(JLINKSIM_error_text(), "") << text;
    }
    {
        const Environment real_time{"JLINKARM_SIM_REALTIME", "yes"};
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0);
    }
    {
        const Environment trace{"JLINKARM_SIM_TRACE", (folder.path() / "no" / "trace.txt").string()};
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0);
    }
    // Without anybody to ask why, the J-Link functions fail and the open call says so.
    const Environment bench{"JLINKARM_SIM_BENCH", (folder.path() / "none.toml").string()};
    JLINKSIM_close_bench();
    EXPECT_EQ(JLINKARM_EMU_GetNumDevices(), 0U);
    EXPECT_NE(JLINKARM_OpenEx(nullptr, nullptr), nullptr);
    EXPECT_LT(JLINKSIM_count_probes(), 0);
    EXPECT_THAT(JLINKSIM_error_text(), HasSubstr("none.toml"));
}

TEST(ModelledTime, followsTheSpeedOfTheInterface)
{
    const HaltedChip bench;
    std::array<std::uint8_t, 1024> block{};
    const auto time_at = [&](std::uint32_t kilohertz) {
        JLINKARM_SetSpeed(kilohertz);
        command("InvalidateCache");
        const std::uint64_t begin = JLINKSIM_time_ns();
        JLINKARM_ReadMem(ram, block.size(), block.data());
        return JLINKSIM_time_ns() - begin - 250'000;
    };
    EXPECT_EQ(time_at(1000), 8 * time_at(8000));
    EXPECT_EQ(time_at(0xFFFFFFFF), time_at(50'000));
    EXPECT_EQ(time_at(0), time_at(4000));
}

} // namespace
} // namespace tessit_test
