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
    return {fmt::format("{}\n{}\n", was_halted ? "The CPU was halted already." : "The CPU is halted.", location.text),
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
