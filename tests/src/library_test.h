#pragma once

#include "src/frame/session.h"
#include "src/log/logger.h"
#include "tests/src/scripted_jlink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessit::test {

MATCHER_P2(FailsWith, code, message, "")
{
    *result_listener << "and the last message is " << last_of(log_messages());
    return arg == code && last_of(log_messages()) == message;
}

/// A fresh session over a fresh scripted J-Link library.
class LibraryTest : public testing::Test
{
protected:
    LibraryTest()
    {
        scripted = &jlink;
        session = Session{};
        logger.buffer().detach_log_callback();
        forget();
    }

    ~LibraryTest() override
    {
        EXPECT_EQ(logger.buffer().depth(), 0u) << "a function tag was left on the stack";
        scripted = nullptr;
    }

    void open() { ASSERT_EQ(TESSIT_open_dll("jlink", collect_log, BIRCH_FAMILY), RESULT_OK); }

    void open_probe()
    {
        open();
        ASSERT_EQ(TESSIT_connect_to_emu_with_snr(777, 4000), RESULT_OK);
        forget();
    }

    void open_device()
    {
        open_probe();
        ASSERT_EQ(TESSIT_connect_to_device(), RESULT_OK);
        forget();
    }

    /// Use a chip of this identification.
    void use_chip(std::uint32_t part, std::uint32_t revision, std::uint32_t variant = 0)
    {
        jlink.memory[0x10000130] = part;
        jlink.memory[0x10000134] = revision;
        jlink.memory[0x10000110] = variant;
    }

    /// Forget what has been called and logged so far.
    void forget()
    {
        jlink.calls.clear();
        log_lines.clear();
    }

    /// The calls since, without those that every operation on a connected device begins with, and without the cache
    /// invalidation before each read.
    std::vector<std::string> calls() const
    {
        std::vector<std::string> kept;
        for (const std::string& call : jlink.calls) {
            if (call != "IsOpen()" && call != "IsConnected()" && !call.starts_with("ExecCommand(\"InvalidateCache\"")) {
                kept.push_back(call);
            }
        }
        return kept;
    }

    ScriptedJLink jlink;
};

} // namespace tessit::test
