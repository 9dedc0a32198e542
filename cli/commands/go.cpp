#include "cli/chip/cpu_state.h"
#include "cli/chip/fault_view.h"
#include "cli/commands/on_probes.h"
#include "cli/text/numbers.h"

#include <fmt/format.h>
#include <memory>
#include <optional>

namespace tessit::cli {
namespace {

struct Options
{
    std::optional<std::uint32_t> pc;
    std::optional<std::uint32_t> sp;
};

Report go_on(const Target& target)
{
    if (look_at_cpu(target.session()) == CpuState::locked_up) {
        throw stopped_cpu(target, CpuState::locked_up, does_not_run);
    }
    const bool was_halted = target.is_halted();
    target.go();
    require_running(target);
    return {was_halted ? "The CPU runs.\n" : "The CPU was running already.\n", {{"was_halted", was_halted}}};
}

Report go_from(const Target& target, std::uint32_t pc, std::uint32_t sp)
{
    const bool was_halted = target.is_halted();
    forget_faults(target);
    target.session().check(TESSIT_run(pc, sp), fmt::format("run from {:#010x}", pc));
    require_running(target);
    return {fmt::format("The CPU runs from {:#010x} with its stack at {:#010x}.\n", pc, sp),
            {{"was_halted", was_halted}, {"pc", pc}, {"sp", sp}}};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    if (options.pc.has_value() != options.sp.has_value()) {
        throw Failure{ExitCode::usage, "--pc and --sp belong together", "Give both, or none to go on."};
    }
    return run_on_probe(invocation, [&](const Target& target) {
        return options.pc ? go_from(target, *options.pc, *options.sp) : go_on(target);
    });
}

} // namespace

Command add_go(const Verb& root)
{
    const Verb verb = root.verb("go", "Let the CPU run on from where it is halted, or from an address");
    const auto options = std::make_shared<Options>();
    verb.parsed(
        "--pc", "ADDR", [options](const std::string& text) { options->pc = parse_u32(text, "program counter"); },
        "Address of the first instruction; with --sp");
    verb.parsed(
        "--sp", "ADDR", [options](const std::string& text) { options->sp = parse_u32(text, "stack pointer"); },
        "Initial stack pointer; with --pc");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
