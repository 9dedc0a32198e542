#include "cli/commands/cpu_view.h"

#include "base/little_endian.h"
#include "cli/text/lists.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

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

Changes describe_changes(const Registers& before, const Registers& after)
{
    std::vector<std::string> changes;
    Json json = Json::list();
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] != after[i]) {
            changes.push_back(fmt::format("{} {:#010x} -> {:#010x}", register_names[i], before[i], after[i]));
            json.push_back({{"register", register_names[i]}, {"before", before[i]}, {"after", after[i]}});
        }
    }
    return {changes.empty() ? "no register changed" : joined(changes), std::move(json)};
}

} // namespace tessit::cli
