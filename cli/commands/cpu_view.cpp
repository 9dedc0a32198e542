#include "cli/commands/cpu_view.h"

#include "base/little_endian.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

struct Alias
{
    std::string_view name;
    cpu_register_t which;
};

constexpr std::array aliases{Alias{"r13", R13}, Alias{"r14", R14}, Alias{"r15", R15}};

// The upper five bits of the first halfword tell whether a second one follows.
bool is_long_instruction(std::uint16_t halfword)
{
    constexpr unsigned first_long = 0b11101;
    return halfword >> 11 >= first_long;
}

std::optional<std::uint16_t> read_halfword(std::uint32_t address)
{
    std::array<std::uint8_t, 2> bytes{};
    if (TESSIT_read(address, bytes.data(), 2) != RESULT_OK) {
        return std::nullopt;
    }
    return little_endian::load_u16(bytes);
}

} // namespace

std::optional<cpu_register_t> find_register(std::string_view name)
{
    std::string lower{name};
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (const auto* const found = std::ranges::find(register_names, lower); found != register_names.end()) {
        return static_cast<cpu_register_t>(found - register_names.begin());
    }
    const auto* const alias = std::ranges::find(aliases, lower, &Alias::name);
    return alias == aliases.end() ? std::nullopt : std::optional{alias->which};
}

std::uint32_t read_register(const Target& target, cpu_register_t which)
{
    std::uint32_t value = 0;
    target.session().check(TESSIT_read_cpu_register(which, &value),
                           fmt::format("read register {}", register_names.at(static_cast<std::size_t>(which))));
    return value;
}

Registers read_registers(const Target& target)
{
    Registers registers{};
    for (std::size_t i = 0; i < registers.size(); ++i) {
        registers[i] = read_register(target, static_cast<cpu_register_t>(i));
    }
    return registers;
}

std::string read_instruction(const Target&, std::uint32_t pc)
{
    const std::optional<std::uint16_t> first = read_halfword(pc);
    if (!first) {
        return "????";
    }
    if (!is_long_instruction(*first)) {
        return fmt::format("{:04x}", *first);
    }
    const std::optional<std::uint16_t> second = read_halfword(pc + 2);
    return second ? fmt::format("{:04x} {:04x}", *first, *second) : fmt::format("{:04x} ????", *first);
}

Location describe_location(const Target& target, const Registers& registers)
{
    const std::string instruction = read_instruction(target, registers[R15]);
    return {fmt::format("PC {:#010x}  {:<9}  SP {:#010x}  LR {:#010x}  xPSR {:#010x}", registers[R15], instruction,
                        registers[R13], registers[R14], registers[XPSR]),
            {{"pc", registers[R15]},
             {"instruction", instruction},
             {"sp", registers[R13]},
             {"lr", registers[R14]},
             {"xpsr", registers[XPSR]}}};
}

std::string describe_changes(const Registers& before, const Registers& after)
{
    std::vector<std::string> changes;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] != after[i]) {
            changes.push_back(fmt::format("{} {:#010x} -> {:#010x}", register_names[i], before[i], after[i]));
        }
    }
    return fmt::format("{}", fmt::join(changes, ", "));
}

} // namespace tessit::cli
