#include "tests/src/scripted_jlink.h"

#include "base/module.h"
#include "src/platform/sleep.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace tessit::test {

ScriptedJLink* scripted = nullptr;
std::vector<std::string> log_lines;

void TESSIT_CALL collect_log(const char* line)
{
    log_lines.emplace_back(line);
}

std::vector<std::string> log_messages()
{
    std::vector<std::string> messages;
    for (const std::string& line : log_lines) {
        const auto tab = line.find(":\t");
        if (tab == std::string::npos) {
            continue;
        }
        std::string message = line.substr(tab + 2);
        if (message.ends_with('\n')) {
            message.pop_back();
        }
        messages.push_back(std::move(message));
    }
    return messages;
}

std::string last_of(const std::vector<std::string>& lines)
{
    return lines.empty() ? "(none)" : lines.back();
}

namespace {

template <class Argument>
std::string text_of(Argument argument)
{
    if constexpr (std::is_integral_v<Argument>) {
        char text[24];
        std::snprintf(text, sizeof text, "%llX", static_cast<unsigned long long>(argument));
        return text;
    } else if constexpr (std::is_same_v<Argument, const char*>) {
        return '"' + std::string{argument} + '"';
    }
    return {};
}

std::string call_text(std::string_view name, const std::vector<std::string>& arguments)
{
    if (name == "WriteU32") {
        return '[' + arguments[0] + "]=" + arguments[1];
    }
    if (name == "ReadMemU32") {
        EXPECT_EQ(arguments[1], "1");
        return '[' + arguments[0] + ']';
    }
    if (name.ends_with("APDPReg")) {
        const std::string port = (arguments[1] == "0" ? "dp" : "ap") + arguments[0];
        return name.starts_with("CORESIGHT_Read") ? port : port + '=' + arguments[2];
    }
    std::string list;
    for (const std::string& argument : arguments) {
        if (!argument.empty()) {
            list += (list.empty() ? "" : ", ") + std::string{argument.front() == '"' ? "" : "0x"} + argument;
        }
    }
    return std::string{name} + '(' + list + ')';
}

template <auto Member>
struct Trampoline;

template <class Result, class... Parameters, std::function<Result(Parameters...)> ScriptedJLink::*Member>
struct Trampoline<Member>
{
    static inline std::string_view name;

    static Result JLINK_CALL call(Parameters... arguments)
    {
        if (name != "HasError" && name != "ClrError") {
            scripted->calls.push_back(call_text(name, {text_of(arguments)...}));
        }
        return (scripted->*Member)(arguments...);
    }
};

std::string_view without_prefix(std::string_view name)
{
    return name.substr(name.find('_') + 1);
}

std::uint32_t load_word(const void* bytes)
{
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

} // namespace

// NOLINTNEXTLINE(readability-function-cognitive-complexity): a list of small functions, one a J-Link function
ScriptedJLink::ScriptedJLink()
{
    memory = {{0x10000130, 8}, {0x10000134, 2}, {0x4001E400, 1}, {0x40029100, 1}};
    ctrl_ap = {{0xFC, 0x12880000}, {0x0C, 1}};
#define SCRIPTED_DEFAULT(result, name, parameters) name = [](auto...) { return std::type_identity_t<result>(); };
    JLINK_FUNCTIONS(SCRIPTED_DEFAULT)
#undef SCRIPTED_DEFAULT
    JLINKARM_IsOpen = [this] { return std::uint8_t{is_open}; };
    JLINKARM_OpenEx = [this](auto, auto) {
        is_open = true;
        return nullptr;
    };
    JLINKARM_Close = [this] { is_open = is_connected = false; };
    JLINKARM_IsConnected = [this] { return std::uint8_t{is_connected}; };
    JLINKARM_Connect = [this] {
        is_connected = true;
        return 0;
    };
    JLINKARM_GetSN = [] { return 777; };
    JLINKARM_IsHalted = [this] { return std::uint8_t{is_halted}; };
    JLINKARM_GetDLLVersion = [] { return 50200u; };
    JLINKARM_HasError = [this] {
        ++error_checks;
        return pending_error;
    };
    JLINKARM_ClrError = [this] {
        ++error_clears;
        pending_error = 0;
    };
    JLINKARM_EMU_GetNumDevices = [] { return 1u; };
    JLINKARM_EMU_GetList = [](std::uint32_t, JLinkProbeRecord* probes, std::uint32_t) {
        probes[0].serial_number = 777;
        return 1;
    };
    JLINKARM_GetHWStatus = [](JLinkHardwareStatus* status) {
        status->target_millivolts = 3300;
        return 0;
    };
    JLINKARM_ReadMemU32 = [this](std::uint32_t address, std::uint32_t, std::uint32_t* data, std::uint8_t*) {
        *data = memory[address];
        return 1;
    };
    JLINKARM_ReadMem = [this](std::uint32_t address, std::uint32_t length, void* data) {
        for (std::uint32_t i = 0; i < length; ++i) {
            const std::uint32_t word = memory[(address + i) & ~3u];
            static_cast<std::uint8_t*>(data)[i] = static_cast<std::uint8_t>(word >> 8 * ((address + i) % 4));
        }
        return 0;
    };
    JLINKARM_WriteU32 = [this](std::uint32_t address, std::uint32_t value) {
        // The ready registers are the hardware's.
        if (address != 0x4001E400 && address != 0x40029100) {
            memory[address] = value;
        }
        return 0;
    };
    JLINKARM_WriteMem = [this](std::uint32_t address, std::uint32_t length, const void* data) {
        for (std::uint32_t i = 0; i + 4 <= length; i += 4) {
            memory[address + i] = load_word(static_cast<const std::uint8_t*>(data) + i);
        }
        return static_cast<std::int32_t>(length);
    };
    JLINKARM_CORESIGHT_WriteAPDPReg = [this](std::uint8_t index, std::uint8_t access_port, std::uint32_t data) {
        if (access_port == 0 && index == 2) {
            select_ = data;
        }
        return 0;
    };
    JLINKARM_CORESIGHT_ReadAPDPReg = [this](std::uint8_t index, std::uint8_t access_port, std::uint32_t* data) {
        *data = access_port == 1 ? ctrl_ap[static_cast<std::uint8_t>((select_ & 0xF0) | index * 4u)] : 0;
        return 0;
    };
}

} // namespace tessit::test

// The system of this test program: what is loaded is the scripted J-Link library, and sleeps only count.

namespace tessit::base {

Module load_module(const char* /*path*/)
{
    return test::scripted->loads ? test::scripted : nullptr;
}

void* find_function(Module /*module*/, const char* name)
{
    using test::ScriptedJLink;
    if (test::scripted->missing.contains(name)) {
        return nullptr;
    }
#define SCRIPTED_FIND(result, function, parameters)                                                                    \
    if (std::string_view{name} == #function) {                                                                         \
        test::Trampoline<& ScriptedJLink::function>::name = test::without_prefix(#function);                           \
        return reinterpret_cast<void*>(&test::Trampoline<&ScriptedJLink::function>::call);                             \
    }
    JLINK_FUNCTIONS(SCRIPTED_FIND)
#undef SCRIPTED_FIND
    return nullptr;
}

void unload_module(Module /*module*/)
{
    ++test::scripted->unloads;
}

} // namespace tessit::base

namespace tessit::platform {

void sleep(std::chrono::milliseconds duration)
{
    test::scripted->sleeps.push_back(duration);
}

} // namespace tessit::platform
