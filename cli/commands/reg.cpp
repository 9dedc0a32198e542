#include "cli/chip/cpu_registers.h"
#include "cli/commands/on_probes.h"
#include "cli/text/lists.h"
#include "cli/text/table.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>

namespace tessit::cli {
namespace {

// A register to show, or one to set.
struct Item
{
    cpu_register_t which;
    std::optional<std::uint32_t> value;

    std::string_view name() const { return register_names.at(static_cast<std::size_t>(which)); }
};

Item parse_item(const std::string& text)
{
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const auto which = find_register(name);
    if (!which) {
        throw Failure{ExitCode::usage, fmt::format("there is no register '{}'", name),
                      fmt::format("Registers are: {}.", joined(register_names))};
    }
    if (equals == std::string::npos) {
        return {*which, std::nullopt};
    }
    return {*which, parse_u32(std::string_view{text}.substr(equals + 1), fmt::format("value of {}", name))};
}

std::vector<Item> all_registers()
{
    std::vector<Item> items;
    for (std::size_t i = 0; i < register_count; ++i) {
        items.push_back({static_cast<cpu_register_t>(i), std::nullopt});
    }
    return items;
}

// Four pairs a line, so that all registers fit on a screen.
std::string format_registers(const std::vector<Item>& items, const std::vector<std::uint32_t>& values)
{
    constexpr std::size_t per_line = 4;
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i % per_line == 0) {
            rows.emplace_back();
        }
        rows.back().emplace_back(items[i].name());
        rows.back().push_back(fmt::format("{:#010x}", values[i]));
    }
    return format_table(rows);
}

Report access(const Target& target, const std::vector<Item>& items, const Console& console)
{
    RunStateKeeper run_state{target};
    const bool writes = std::ranges::any_of(items, [](const Item& item) { return item.value.has_value(); });
    for (const Item& item : items) {
        if (item.value) {
            run_state.release();
            write_register(target, item.which, *item.value);
        }
    }
    std::vector<std::uint32_t> values;
    Json json{{"registers", Json()}};
    for (const Item& item : items) {
        values.push_back(read_register(target, item.which));
        json["registers"][item.name()] = values.back();
        if (item.value && *item.value != values.back()) {
            console.note(fmt::format("{} holds {:#010x}, not the {:#010x} that was given.", item.name(), values.back(),
                                     *item.value));
        }
    }
    run_state.restore();
    return {format_registers(items, values) + (writes ? "The CPU is halted.\n" : ""), std::move(json)};
}

ExitCode run(const Invocation& invocation, const std::vector<std::string>& texts)
{
    std::vector<Item> items;
    std::ranges::transform(texts, std::back_inserter(items), &parse_item);
    if (items.empty()) {
        items = all_registers();
    }
    return run_on_probe(invocation, [&](const Target& target) { return access(target, items, invocation.console); });
}

} // namespace

Command add_reg(const Verb& root)
{
    const Verb verb = root.verb("reg", "Show CPU registers, or set them, which leaves the CPU halted");
    const auto texts = std::make_shared<std::vector<std::string>>();
    verb.text_list("REGISTER", "", *texts,
                   fmt::format("NAME to show, NAME=VALUE to set; none shows all. Names: {}", joined(register_names)));
    return {verb, [texts](const Invocation& invocation) { return run(invocation, *texts); }};
}

} // namespace tessit::cli
