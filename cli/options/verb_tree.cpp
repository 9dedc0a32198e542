#include "cli/options/verb_tree.h"

#include "cli/text/lists.h"

#include <CLI/App.hpp>
#include <algorithm>

namespace tessit::cli {

Verbs chosen_verbs(const CLI::App& app)
{
    Verbs verbs{&app};
    while (!verbs.back()->get_subcommands().empty()) {
        verbs.push_back(verbs.back()->get_subcommands().front());
    }
    return verbs;
}

std::string typed(const Verbs& verbs)
{
    std::vector<std::string> names;
    std::ranges::transform(verbs, std::back_inserter(names), [](const CLI::App* verb) { return verb->get_name(); });
    return joined(names, " ");
}

std::vector<std::string> verb_names(const CLI::App& verb)
{
    std::vector<std::string> names;
    std::ranges::transform(verb.get_subcommands({}), std::back_inserter(names),
                           [](const CLI::App* each) { return each->get_name(); });
    return names;
}

const CLI::App* find_verb(const CLI::App& verb, const std::string& name)
{
    const std::vector<const CLI::App*> below = verb.get_subcommands({});
    const auto found = std::ranges::find(below, name, [](const CLI::App* each) { return each->get_name(); });
    return found == below.end() ? nullptr : *found;
}

std::vector<std::string> option_names(const Verbs& verbs)
{
    std::vector<std::string> names;
    for (const CLI::App* const verb : verbs) {
        for (const CLI::Option* const option : verb->get_options()) {
            if (!option->get_positional()) {
                names.push_back(option->get_name());
            }
        }
    }
    return names;
}

} // namespace tessit::cli
