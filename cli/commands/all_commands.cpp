#include "cli/commands/command.h"

#include <array>

namespace tessit::cli {
namespace {

// In the order in which the help lists them.
constexpr std::array verbs{
    &add_list, &add_info, &add_program, &add_verify, &add_read, &add_write,      &add_erase,   &add_reset,
    &add_halt, &add_go,   &add_step,    &add_run,    &add_reg,  &add_ram,        &add_protect, &add_recover,
    &add_ap,   &add_dp,   &add_rtt,     &add_qspi,   &add_sim,  &add_completion,
};

struct Examples
{
    const char* verb;
    const char* first;
    const char* second;
};

constexpr std::array examples{
    Examples{"list", "list", "--sim list"},
    Examples{"info", "info", "--all-probes --json info"},
    Examples{"program", "program boot.hex app.bin@0x20000 --reset",
             "--all-probes program app.hex --units units.csv --record line.jsonl"},
    Examples{"verify", "verify app.elf", "--all-probes verify app.hex"},
    Examples{"read", "read 0x0+256", "read flash --output '{serial}.hex'"},
    Examples{"write", "write 0x20000000 0x12345678 42", "write --flash 0x10001080 0x1234"},
    Examples{"erase", "erase --all", "erase --range 0x1000-0x3000"},
    Examples{"reset", "reset", "reset --kind pin --halt"},
    Examples{"halt", "halt", "--json halt"},
    Examples{"go", "go", "go --pc 0x20000100 --sp 0x20004000"},
    Examples{"step", "step", "step 10"},
    Examples{"run", "run app.hex --until passed --fail-on FAIL --timeout 30",
             "--sim --fresh --strict run app.hex --exit-code-from 'exit: ([0-9]+)'"},
    Examples{"reg", "reg pc sp", "reg r0=0x1234"},
    Examples{"ram", "ram", "ram off 3"},
    Examples{"protect", "protect", "--yes protect"},
    Examples{"recover", "recover", "--all-probes --yes recover"},
    Examples{"ap", "ap read 1 0xFC", "ap write 1 0 0"},
    Examples{"dp", "dp read 4", "dp write 0 0x1E"},
    Examples{"rtt", "rtt --reset", "rtt --reset --until 'self-test passed' --timeout 30 --output words.txt"},
    Examples{"qspi", "qspi example board.toml", "qspi --qspi-config board.toml write assets.bin@0x0"},
    Examples{"sim", "sim show", "sim factory-reset --all"},
    Examples{"completion", "completion bash > ~/.local/share/bash-completion/completions/tessit",
             "completion fish > ~/.config/fish/completions/tessit.fish"},
};

} // namespace

std::vector<Command> add_all_commands(const Verb& root)
{
    std::vector<Command> commands;
    commands.reserve(std::size(verbs));
    for (const auto add : verbs) {
        commands.push_back(add(root));
    }
    for (const Examples& each : examples) {
        root.below(each.verb).examples(each.first, each.second);
    }
    return commands;
}

} // namespace tessit::cli
