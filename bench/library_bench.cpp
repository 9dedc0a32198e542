// What the library costs on top of the J-Link calls that it makes: each operation over a J-Link library that does
// nothing, without a callback and with one, beside the same J-Link calls made bare.
#include "base/module.h"
#include "bench/device_session.h"
#include "src/jlink/functions.h"

#include <benchmark/benchmark.h>

#include <array>

namespace {

using namespace tessit;
using bench::DeviceSession;
using bench::require;

struct BareFunctions
{
#define BARE_ENTRY(result, name, parameters) result(JLINK_CALL* name) parameters = nullptr;
    JLINK_FUNCTIONS(BARE_ENTRY)
#undef BARE_ENTRY

    BareFunctions() noexcept
    {
        const base::Module library = base::load_module(NULL_JLINK);
#define BARE_BIND(result, name, parameters)                                                                            \
    name = reinterpret_cast<decltype(name)>(base::find_function(library, #name));
        JLINK_FUNCTIONS(BARE_BIND)
#undef BARE_BIND
    }
};

const BareFunctions bare;

std::size_t logged_characters = 0;

void TESSIT_CALL count_characters(const char* line)
{
    while (*line++ != '\0') {
        ++logged_characters;
    }
}

// The guards of an export on a connected device.
void bare_guards()
{
    bare.JLINKARM_IsOpen();
    bare.JLINKARM_HasError();
    bare.JLINKARM_IsConnected();
    bare.JLINKARM_HasError();
    bare.JLINKARM_Halt();
    bare.JLINKARM_HasError();
}

void bare_read_u32(std::uint32_t address, std::uint32_t* data)
{
    std::array<char, 500> error_text;
    error_text.front() = '\0';
    std::uint8_t status = 0;
    bare.JLINKARM_ExecCommand("InvalidateCache", error_text.data(), error_text.size());
    bare.JLINKARM_HasError();
    bare.JLINKARM_ReadMemU32(address, 1, data, &status);
    bare.JLINKARM_HasError();
}

void bare_write_u32(std::uint32_t address, std::uint32_t data)
{
    bare.JLINKARM_WriteU32(address, data);
    bare.JLINKARM_HasError();
}

void read_u32_bare(benchmark::State& state)
{
    std::uint32_t word = 0;
    for ([[maybe_unused]] auto _ : state) {
        bare_guards();
        bare_read_u32(0x20000000, &word);
        benchmark::DoNotOptimize(word);
    }
}
BENCHMARK(read_u32_bare);

void read_u32(benchmark::State& state, log_callback_t callback)
{
    const DeviceSession session{callback};
    std::uint32_t word = 0;
    for ([[maybe_unused]] auto _ : state) {
        require(TESSIT_read_u32(0x20000000, &word));
        benchmark::DoNotOptimize(word);
    }
}
BENCHMARK_CAPTURE(read_u32, without_callback, nullptr);
BENCHMARK_CAPTURE(read_u32, with_callback, count_characters);

constexpr std::array<std::uint8_t, 4096> block{};

void write_4kib_bare(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state) {
        bare_guards();
        bare.JLINKARM_WriteMem(0x20000000, block.size(), block.data());
        bare.JLINKARM_HasError();
    }
}
BENCHMARK(write_4kib_bare);

void write_4kib(benchmark::State& state, log_callback_t callback)
{
    const DeviceSession session{callback};
    for ([[maybe_unused]] auto _ : state) {
        require(TESSIT_write(0x20000000, block.data(), block.size(), 0));
    }
}
BENCHMARK_CAPTURE(write_4kib, without_callback, nullptr);
BENCHMARK_CAPTURE(write_4kib, with_callback, count_characters);

void write_4kib_flash_bare(benchmark::State& state)
{
    constexpr std::uint32_t ready = 0x4001E400;
    constexpr std::uint32_t configuration = 0x4001E504;
    std::uint32_t word = 0;
    for ([[maybe_unused]] auto _ : state) {
        bare_guards();
        bare_write_u32(configuration, 1);
        bare_read_u32(ready, &word);
        bare.JLINKARM_WriteMem(0, block.size(), block.data());
        bare.JLINKARM_HasError();
        bare_read_u32(ready, &word);
        bare_write_u32(configuration, 0);
        bare_read_u32(ready, &word);
    }
}
BENCHMARK(write_4kib_flash_bare);

void write_4kib_flash(benchmark::State& state, log_callback_t callback)
{
    const DeviceSession session{callback};
    for ([[maybe_unused]] auto _ : state) {
        require(TESSIT_write(0, block.data(), block.size(), 1));
    }
}
BENCHMARK_CAPTURE(write_4kib_flash, without_callback, nullptr);
BENCHMARK_CAPTURE(write_4kib_flash, with_callback, count_characters);

} // namespace

BENCHMARK_MAIN();
