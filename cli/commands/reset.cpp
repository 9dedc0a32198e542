#include "cli/chip/cpu_state.h"
#include "cli/commands/on_probes.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

enum class Kind
{
    system,
    debug,
    pin
};

struct Options
{
    Kind kind = Kind::system;
    bool halt = false;
};

constexpr Choice<Kind> kinds[]{{"system", Kind::system}, {"debug", Kind::debug}, {"pin", Kind::pin}};

void reset_chip(const Target& target, Kind kind)
{
    const Session& session = target.session();
    switch (kind) {
    case Kind::system: // the only one that leaves the CPU to us
        session.check(TESSIT_sys_reset(), "reset the chip");
        break;
    case Kind::debug:
        session.check(TESSIT_debug_reset(), "reset the chip through the control access port");
        break;
    case Kind::pin:
        session.check(TESSIT_pin_reset(), "reset the chip by its reset pin");
        break;
    }
}

// "The chip was reset and runs.", or what is true instead.
std::string describe_start(const Target& target, std::optional<CpuState> state)
{
    if (!state) {
        return "The chip was reset; what its CPU does cannot be seen.\n";
    }
    if (state != CpuState::halted && state != CpuState::locked_up) {
        return "The chip was reset and runs.\n";
    }
    try {
        return fmt::format("The chip was reset; the CPU is {}.\n", describe_stop(target, *state).text);
    } catch (const Failure& failure) {
        if (failure.code() != ExitCode::no_target) {
            throw;
        }
        // A chip that takes no connection can be reset all the same.
        return fmt::format("The chip was reset; the CPU is {}, and where is not known: {}.\n", cpu_state_name(*state),
                           failure.what());
    }
}

Report reset(const Target& target, const Options& options)
{
    reset_chip(target, options.kind);
    if (options.halt) {
        target.session().check(TESSIT_halt(), "halt the CPU after the reset");
        return {"The chip was reset; the CPU is halted.\n", {{"halted", true}, {"cpu", "halted"}}};
    }
    if (options.kind == Kind::system) {
        target.go();
    }
    const std::optional<CpuState> state = state_after_start(target);
    return {describe_start(target, state),
            {{"halted", state == CpuState::halted}, {"cpu", state ? cpu_state_name(*state) : "unknown"}}};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    return run_on_probes(invocation, [&](const Target& target) { return reset(target, options); });
}

} // namespace

Command add_reset(const Verb& root)
{
    const Verb verb = root.verb("reset", "Reset the chip and let it run");
    const auto options = std::make_shared<Options>();
    verb.choice("--kind", kinds, options->kind,
                "system: the CPU's system reset; debug: through the control access port; pin: by the reset line. "
                "debug and pin work on a protected chip too")
        .with_default("system");
    verb.flag("--halt", options->halt, "Leave the CPU halted after the reset");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
