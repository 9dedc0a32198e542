#include "cli/commands/command.h"
#include "cli/session/session.h"
#include "cli/text/lists.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    const char* script = nullptr; ///< null: the words that may follow
    std::vector<std::string> words;
};

// Each asks the command itself what may follow, so that none knows a verb or an option. Where it knows nothing, a file
// may.
constexpr const char* bash_script = R"sh(_tessit() {
    local begun="${COMP_WORDS[COMP_CWORD]}"
    [ "$begun" != = ] || begun=
    COMPREPLY=($(compgen -W "$(tessit completion words -- "${COMP_WORDS[@]:1:COMP_CWORD-1}" "$begun" 2>/dev/null)" \
        -- "$begun"))
}
complete -o default -F _tessit tessit
)sh";

constexpr const char* zsh_script = R"sh(#compdef tessit
local -a candidates
candidates=(${(f)"$(tessit completion words -- "${(@)words[2,CURRENT]}" 2>/dev/null)"})
if (( $#candidates )); then
    compadd -a candidates
else
    _files
fi
)sh";

constexpr const char* fish_script = R"sh(function __tessit_candidates
    set -l candidates (tessit completion words -- (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null)
    if set -q candidates[1]
        printf '%s\n' $candidates
    else
        __fish_complete_path (commandline -ct)
    end
end
complete -c tessit -f -a '(__tessit_candidates)'
)sh";

constexpr Choice<const char*> shells[]{
    {"bash", bash_script}, {"zsh", zsh_script}, {"fish", fish_script}, {"words", nullptr}};

std::vector<std::string> attached_probes(const Invocation& invocation, const std::vector<std::string>& words)
{
    Settings settings = invocation.settings;
    settings.simulated = std::ranges::find(words, "--sim") != words.end();
    std::vector<std::string> serials;
    for (const std::uint32_t serial : Session{settings}.attached_probes()) {
        serials.push_back(std::to_string(serial));
    }
    return serials;
}

// The last of the words is the one that is typed now.
std::vector<std::string> candidates(const Invocation& invocation, std::vector<std::string> words)
{
    const std::string begun = words.empty() ? "" : words.back();
    if (!words.empty()) {
        words.pop_back();
    }
    return invocation.command_line.awaiting_value(words) == "--probe"
               ? attached_probes(invocation, words)
               : invocation.command_line.candidates(words, begun);
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    if (options.script != nullptr) {
        invocation.console.show(options.script, {{"script", options.script}});
        return ExitCode::done;
    }
    const std::vector<std::string> words = candidates(invocation, options.words);
    invocation.console.show(words.empty() ? "" : fmt::format("{}\n", joined(words, "\n")), {{"words", words}});
    return ExitCode::done;
}

} // namespace

Command add_completion(const Verb& root)
{
    const Verb verb = root.verb("completion", "Print what makes a shell complete this command's words");
    const auto options = std::make_shared<Options>();
    verb.choice("SHELL", shells, options->script, "The shell; `words` for what the last of WORDS may become")
        .required();
    verb.text_list("WORDS", "", options->words,
                   "Behind --: what is typed already, the word that is to be completed last");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
