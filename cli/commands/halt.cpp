#include "cli/chip/cpu_state.h"
#include "cli/commands/cpu_view.h"
#include "cli/commands/on_probes.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

Report halt(const Target& target)
{
    const bool was_halted = target.is_halted();
    target.halt();
    Location location = describe_location(target, read_registers(target));
    location.json["was_halted"] = was_halted;
    const std::string why = was_halted ? describe_stop(target, CpuState::halted).text : describe_trouble(target);
    location.json["why"] = why.empty() ? Json() : Json(why);
    return {fmt::format("The CPU {}.\n{}\n{}", was_halted ? "was halted already" : "is halted", location.text,
                        why.empty() ? "" : fmt::format("It is {}.\n", why)),
            std::move(location.json)};
}

ExitCode run(const Invocation& invocation)
{
    return run_on_probe(invocation, [](const Target& target) { return halt(target); });
}

} // namespace

Command add_halt(const Verb& root)
{
    return {root.verb("halt", "Halt the CPU and show where it is"), &run};
}

} // namespace tessit::cli
