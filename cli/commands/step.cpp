#include "cli/chip/cpu_state.h"
#include "cli/commands/cpu_view.h"
#include "cli/commands/on_probes.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

Report step(const Target& target, std::uint32_t count, const Console& console)
{
    if (!target.is_halted()) {
        target.halt();
        console.note("The CPU was running and has been halted.");
    }
    if (is_at_lock_up(target)) {
        throw stopped_cpu(target, CpuState::halted, "there is nothing to execute");
    }
    Registers before = read_registers(target);
    std::string text = describe_location(target, before).text + "\n";
    Json steps = Json::list();
    for (std::uint32_t i = 0; i < count; ++i) {
        stop_if_interrupted(fmt::format("{} of {} steps are done", i, count));
        target.session().check(TESSIT_step(), "execute one instruction");
        const Registers after = read_registers(target);
        Location location = describe_location(target, after);
        Changes changes = describe_changes(before, after);
        text += fmt::format("{}\n    {}\n", location.text, changes.text);
        location.json["changes"] = std::move(changes.json);
        steps.push_back(std::move(location.json));
        before = after;
    }
    const std::string trouble = describe_trouble(target);
    if (!trouble.empty()) {
        text += fmt::format("It is {}.\n", trouble);
    }
    return {std::move(text), {{"steps", std::move(steps)}, {"why", trouble.empty() ? Json() : Json(trouble)}}};
}

ExitCode run(const Invocation& invocation, std::uint32_t count)
{
    return run_on_probe(invocation, [&](const Target& target) { return step(target, count, invocation.console); });
}

} // namespace

Command add_step(const Verb& root)
{
    constexpr std::uint32_t most = 100000;
    const Verb verb =
        root.verb("step", "Execute instructions one by one and show what each changed; a running CPU is halted first");
    const auto count = std::make_shared<std::uint32_t>(1);
    verb.number("N", "", *count, 1, most, "Number of instructions, 1 to 100000; 1 when it is not given");
    return {verb, [count](const Invocation& invocation) { return run(invocation, *count); }};
}

} // namespace tessit::cli
