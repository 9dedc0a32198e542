// Calls one export on a connected device, for bench/export_cost to count the instructions of. Without an argument it
// names the exports that it knows.
#include "bench/device_session.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::uint32_t ram = 0x20000000;

struct Operation
{
    const char* name;
    const char* arguments;
    result_code_t (*call)();
};

constexpr std::array operations{
    Operation{"TESSIT_is_dll_open", "",
              [] {
                  bool opened = false;
                  return TESSIT_is_dll_open(&opened);
              }},
    Operation{"TESSIT_is_connected_to_device", "",
              [] {
                  bool connected = false;
                  return TESSIT_is_connected_to_device(&connected);
              }},
    Operation{"TESSIT_halt", "", [] { return TESSIT_halt(); }},
    Operation{"TESSIT_read_cpu_register", "R15",
              [] {
                  std::uint32_t value = 0;
                  return TESSIT_read_cpu_register(R15, &value);
              }},
    Operation{"TESSIT_read_u32", "",
              [] {
                  std::uint32_t word = 0;
                  return TESSIT_read_u32(ram, &word);
              }},
    Operation{"TESSIT_write_u32", "RAM", [] { return TESSIT_write_u32(ram, 1, 0); }},
    Operation{"TESSIT_read", "4 KiB",
              [] {
                  std::array<std::uint8_t, 4096> block; // NOLINT(cppcoreguidelines-pro-type-member-init)
                  return TESSIT_read(ram, block.data(), block.size());
              }},
    Operation{"TESSIT_write", "4 KiB, flash",
              [] {
                  constexpr std::array<std::uint8_t, 4096> block{};
                  return TESSIT_write(0, block.data(), block.size(), 1);
              }},
    Operation{"TESSIT_erase_page", "", [] { return TESSIT_erase_page(0); }},
    Operation{"TESSIT_read_device_version", "",
              [] {
                  chip_version_t version = UNKNOWN;
                  return TESSIT_read_device_version(&version);
              }},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        for (const Operation& operation : operations) {
            std::printf("%s|%s\n", operation.name, operation.arguments);
        }
        return 0;
    }
    const auto* const operation = std::ranges::find(operations, std::string_view{argv[1]}, &Operation::name);
    if (operation == operations.end()) {
        std::fprintf(stderr, "one_export: no export %s\n", argv[1]);
        return 2;
    }
    const tessit::bench::DeviceSession session{nullptr};
    tessit::bench::require(operation->call());
    return 0;
}
