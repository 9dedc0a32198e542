#include "cli/commands/command.h"

#include <array>

namespace tessit::cli {
namespace {

// In the order in which the help lists them.
constexpr std::array verbs{
    &add_list,    &add_info,    &add_program, &add_verify, &add_read, &add_write, &add_erase,
    &add_reset,   &add_halt,    &add_go,      &add_step,   &add_run,  &add_reg,   &add_ram,
    &add_protect, &add_recover, &add_ap,      &add_dp,     &add_rtt,  &add_qspi,  &add_sim,
};

} // namespace

std::vector<Command> add_all_commands(const Verb& root)
{
    std::vector<Command> commands;
    commands.reserve(std::size(verbs));
    for (const auto add : verbs) {
        commands.push_back(add(root));
    }
    return commands;
}

} // namespace tessit::cli
