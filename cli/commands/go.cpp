#include "cli/chip/cpu_state.h"
#include "cli/commands/on_probes.h"

namespace tessit::cli {
namespace {

Report go(const Target& target)
{
    if (look_at_cpu(target.session()) == CpuState::locked_up) {
        throw stopped_cpu(target, CpuState::locked_up, does_not_run);
    }
    const bool was_halted = target.is_halted();
    target.go();
    require_running(target);
    return {was_halted ? "The CPU runs.\n" : "The CPU was running already.\n", {{"was_halted", was_halted}}};
}

ExitCode run(const Invocation& invocation)
{
    return run_on_probe(invocation, [](const Target& target) { return go(target); });
}

} // namespace

Command add_go(const Verb& root)
{
    return {root.verb("go", "Let the CPU run on from where it is halted"), &run};
}

} // namespace tessit::cli
