#include "cli/chip/cpu_registers.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <string>

namespace tessit::cli {
namespace {

struct Alias
{
    std::string_view name;
    cpu_register_t which;
};

constexpr std::array aliases{Alias{"r13", R13}, Alias{"r14", R14}, Alias{"r15", R15}};

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

void write_register(const Target& target, cpu_register_t which, std::uint32_t value)
{
    target.session().check(TESSIT_write_cpu_register(which, value),
                           fmt::format("write register {}", register_names.at(static_cast<std::size_t>(which))));
}

Registers read_registers(const Target& target)
{
    Registers registers{};
    for (std::size_t i = 0; i < registers.size(); ++i) {
        registers[i] = read_register(target, static_cast<cpu_register_t>(i));
    }
    return registers;
}

} // namespace tessit::cli
