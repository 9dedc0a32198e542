#include "cli/chip/cpu_state.h"
#include "cli/chip/fault_view.h"
#include "cli/commands/on_probes.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    std::uint32_t pc = 0;
    std::uint32_t sp = 0;
};

Report run_from(const Target& target, const Options& options)
{
    target.connect();
    forget_faults(target);
    target.session().check(TESSIT_run(options.pc, options.sp), fmt::format("run from {:#010x}", options.pc));
    require_running(target);
    return {fmt::format("The CPU runs from {:#010x} with its stack at {:#010x}.\n", options.pc, options.sp),
            {{"pc", options.pc}, {"sp", options.sp}}};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    return run_on_probe(invocation, [&](const Target& target) { return run_from(target, options); });
}

} // namespace

Command add_run(const Verb& root)
{
    const Verb verb = root.verb("run", "Let the CPU run from an address with a stack pointer");
    const auto options = std::make_shared<Options>();
    verb.parsed(
            "PC", "", [options](const std::string& text) { options->pc = parse_u32(text, "program counter"); },
            "Address of the first instruction")
        .required();
    verb.parsed(
            "SP", "", [options](const std::string& text) { options->sp = parse_u32(text, "stack pointer"); },
            "Initial stack pointer")
        .required();
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
