#include "cli/commands/command.h"

#include <array>
#include <string_view>

namespace tessit::cli {
namespace {

// In the order in which the help lists them.
constexpr std::array verbs{
    &add_list, &add_info, &add_program, &add_verify, &add_read, &add_write,      &add_erase,   &add_reset,
    &add_halt, &add_go,   &add_step,    &add_run,    &add_reg,  &add_ram,        &add_protect, &add_recover,
    &add_ap,   &add_dp,   &add_rtt,     &add_qspi,   &add_sim,  &add_completion, &add_manual,
};

struct Examples
{
    std::string_view verb; ///< "sim show": the one below the other
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
    Examples{"ram on", "ram on", "--json ram on"},
    Examples{"ram off", "ram off 3", "--json ram off 3"},
    Examples{"ap read", "ap read 1 0xFC", "--json ap read 1 0x0C"},
    Examples{"ap write", "ap write 1 0 1", "ap write 1 0 0"},
    Examples{"dp read", "dp read 4", "--json dp read 0"},
    Examples{"dp write", "dp write 0 0x1E", "dp write 8 0x01000000"},
    Examples{"rtt", "rtt --reset", "rtt --reset --until 'self-test passed' --timeout 30 --output words.txt"},
    Examples{"qspi", "qspi example board.toml", "qspi --qspi-config board.toml write assets.bin@0x0"},
    Examples{"qspi info", "qspi info", "qspi info --qspi-config board.toml"},
    Examples{"qspi write", "qspi write assets.bin@0x0", "qspi write --qspi-config board.toml assets.hex"},
    Examples{"qspi verify", "qspi verify assets.bin@0x0", "qspi verify --qspi-config board.toml assets.hex"},
    Examples{"qspi read", "qspi read 0x0+256", "qspi read 0x0+1048576 --output assets.bin"},
    Examples{"qspi erase", "qspi erase --range 0x0+0x10000", "qspi erase --all"},
    Examples{"qspi custom", "qspi custom 0x9F --receive 3", "qspi custom 0x01 0x40"},
    Examples{"qspi example", "qspi example board.toml", "--json qspi example board.toml"},
    Examples{"sim", "sim show", "sim factory-reset --all"},
    Examples{"sim show", "sim show", "--bench ci.toml --json sim show"},
    Examples{"sim init", "sim init bench.toml", "--json sim init bench.toml"},
    Examples{"sim factory-reset", "sim factory-reset", "sim factory-reset --all"},
    Examples{"sim power-cycle", "sim power-cycle", "--probe 600000101 sim power-cycle"},
    Examples{"sim records", "sim records", "sim records --clear"},
    Examples{"completion", "completion bash > ~/.local/share/bash-completion/completions/tessit",
             "completion fish > ~/.config/fish/completions/tessit.fish"},
    Examples{"manual", "manual | man -l -", "manual > ~/.local/share/man/man1/tessit.1"},
};

Verb find(const Verb& above, std::string_view names)
{
    const std::size_t end = names.find(' ');
    const Verb verb = above.below(std::string{names.substr(0, end)});
    return end == std::string_view::npos ? verb : find(verb, names.substr(end + 1));
}

} // namespace

std::vector<Command> add_all_commands(const Verb& root)
{
    std::vector<Command> commands;
    commands.reserve(std::size(verbs));
    for (const auto add : verbs) {
        commands.push_back(add(root));
    }
    for (const Examples& each : examples) {
        find(root, each.verb).examples(each.first, each.second);
    }
    return commands;
}

} // namespace tessit::cli
