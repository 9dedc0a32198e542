#include "cli/commands/command.h"
#include "cli/session/session.h"

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

// Each asks the command itself what may follow, so that none knows a verb or an option.
constexpr const char* bash_script = R"sh(_tessit() {
    local current="${COMP_WORDS[COMP_CWORD]}"
    COMPREPLY=($(compgen -W "$(tessit completion words -- "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null)" -- "$current"))
}
complete -o default -F _tessit tessit
)sh";

constexpr const char* zsh_script = R"sh(#compdef tessit
local -a candidates
candidates=(${(f)"$(tessit completion words -- ${
    words[2, CURRENT - 1]} 2>/dev/null)"})
compadd -a candidates
_files
)sh";

constexpr const char* fish_script = R"sh(function __tessit_candidates
    tessit completion words -- (commandline -opc)[2..-1] 2>/dev/null
end
complete -c tessit -a '(__tessit_candidates)'
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

std::vector<std::string> candidates(const Invocation& invocation, const std::vector<std::string>& words)
{
    const bool wants_probe = !words.empty() && (words.back() == "--probe" || words.back() == "-p");
    return wants_probe ? attached_probes(invocation, words) : invocation.command_line.candidates(words);
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    if (options.script != nullptr) {
        invocation.console.show(options.script, {{"script", options.script}});
        return ExitCode::done;
    }
    const std::vector<std::string> words = candidates(invocation, options.words);
    invocation.console.show(fmt::format("{}\n", fmt::join(words, "\n")), {{"words", words}});
    return ExitCode::done;
}

} // namespace

Command add_completion(const Verb& root)
{
    const Verb verb = root.verb("completion", "Print what makes a shell complete this command's words");
    const auto options = std::make_shared<Options>();
    verb.choice("SHELL", shells, options->script, "The shell; `words` for those that may follow WORDS").required();
    verb.text_list("WORDS", "", options->words, "What is typed already, behind --");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
