#include "cli/options/refusal.h"

#include "cli/text/lists.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <utility>

namespace tessit::cli {
namespace {

Failure usage(const std::string& message, const std::string& hint)
{
    return {ExitCode::usage, message, hint};
}

std::string help_hint(const Verbs& chosen)
{
    return fmt::format("`{} --help` shows what is possible.", typed(chosen));
}

std::string list_verbs(const CLI::App& verb)
{
    return joined(verb_names(verb));
}

// How many characters have to be changed, put in or left out.
std::size_t distance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

// "Did you mean `program`? ", where one of the names is near enough to have been meant.
std::string suggestion(const std::string& word, const std::vector<std::string>& names)
{
    const std::size_t most = word.size() <= 4 ? 1 : 2 + word.size() / 10;
    const auto nearest =
        std::ranges::min_element(names, {}, [&word](const std::string& name) { return distance(word, name); });
    return nearest == names.end() || distance(word, *nearest) > most ? ""
                                                                     : fmt::format("Did you mean `{}`? ", *nearest);
}

Failure missing_part(const Verbs& chosen)
{
    const CLI::App& verb = *chosen.back();
    const auto missing =
        verb.get_options([](const CLI::Option* option) { return option->get_required() && option->count() == 0; });
    if (!missing.empty()) {
        return usage(
            fmt::format("`{}` needs {}, and nothing is given for it", typed(chosen), missing.front()->get_name()),
            help_hint(chosen));
    }
    return usage(chosen.size() == 1 ? "a command is missing"
                                    : fmt::format("`{}` needs one of its commands", typed(chosen)),
                 fmt::format("Commands are: {}.", list_verbs(verb)));
}

Failure excluding_options(const Verbs& chosen)
{
    for (const CLI::App* const verb : chosen) {
        for (const CLI::Option* const option : verb->get_options()) {
            const auto& excluded = option->get_excludes();
            const auto other =
                std::ranges::find_if(excluded, [](const CLI::Option* each) { return each->count() != 0; });
            if (option->count() != 0 && other != excluded.end()) {
                return usage(fmt::format("{} and {} do not go together", option->get_name(), (*other)->get_name()),
                             "Leave one of the two away.");
            }
        }
    }
    return usage("two of the options do not go together", help_hint(chosen));
}

} // namespace

Failure unknown_word(const Verbs& chosen, const std::string& word)
{
    if (word.starts_with('-')) {
        const std::string name = word.substr(0, word.find('='));
        return usage(fmt::format("there is no option '{}'", name),
                     suggestion(name, option_names(chosen)) + help_hint(chosen));
    }
    const CLI::App& verb = *chosen.back();
    if (verb.get_subcommands({}).empty()) {
        return usage(fmt::format("'{}' is one word too many for `{}`", word, typed(chosen)), help_hint(chosen));
    }
    return usage(fmt::format("there is no command `{} {}`", typed(chosen), word),
                 suggestion(word, verb_names(verb)) + fmt::format("Commands are: {}.", list_verbs(verb)));
}

Failure refusal(const CLI::App& app, const CLI::ParseError& error)
{
    const Verbs chosen = chosen_verbs(app);
    const std::vector<std::string> unknown = app.remaining(true);
    if (!unknown.empty()) {
        return unknown_word(chosen, unknown.front());
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        return missing_part(chosen);
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
        return excluding_options(chosen);
    }
    const std::string text = error.what(); // begins with the option's name
    const std::string option = text.substr(0, text.find_first_of(": "));
    if (!option.starts_with('-')) { // without its dashes only for a flag that was given a value
        return usage(fmt::format("--{} takes no value", option), help_hint(chosen));
    }
    return usage(fmt::format("{} needs a value", option), help_hint(chosen));
}

} // namespace tessit::cli
