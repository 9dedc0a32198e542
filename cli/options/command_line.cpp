#include "cli/options/command_line.h"

#include "cli/failure.h"
#include "cli/terminal/stream.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp> // App needs it to link
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <utility>

namespace tessit::cli {
namespace {

// The help in the words of this command.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter()
    {
        constexpr std::size_t left_column = 30;
        column_width(left_column);
        label("SUBCOMMAND", "COMMAND");
        label("Positionals", "Arguments");
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        return option->get_option_text().empty() ? "" : " " + option->get_option_text();
    }

    std::string make_option_desc(const CLI::Option* option) const override
    {
        const std::string otherwise = option->get_default_str();
        return option->get_description() + (otherwise.empty() ? "" : fmt::format("; default {}", otherwise));
    }

    std::string make_option(const CLI::Option* option, bool is_positional) const override
    {
        return in_columns(make_option_name(option, is_positional) + make_option_opts(option), make_option_desc(option));
    }

    std::string make_subcommand(const CLI::App* verb) const override
    {
        return in_columns(verb->get_name(), verb->get_description());
    }

    std::string make_footer(const CLI::App* app) const override
    {
        std::string own = CLI::Formatter::make_footer(app);
        if (app->get_parent() == nullptr) {
            return own;
        }
        const CLI::App* root = app;
        while (root->get_parent() != nullptr) {
            root = root->get_parent();
        }
        std::string options;
        for (const CLI::Option* const option : root->get_options()) {
            options += " " + option->get_name();
        }
        return fmt::format("{}\nFor all commands, see `tessit help`:\n{}", own, in_lines(options, 2));
    }

private:
    static constexpr std::size_t widest = 96;

    // Of a text without line ends, with so many spaces before each line.
    static std::string in_lines(std::string_view text, std::size_t indent)
    {
        std::string lines;
        std::string line;
        const auto end_line = [&] {
            lines += line.empty() ? "" : std::string(indent, ' ') + line + "\n";
            line.clear();
        };
        while (!text.empty()) {
            const std::string_view word = text.substr(0, text.find(' '));
            if (indent + line.size() + word.size() >= widest) {
                end_line();
            }
            line += (line.empty() || word.empty() ? "" : " ") + std::string{word};
            text.remove_prefix(std::min(word.size() + 1, text.size()));
        }
        end_line();
        return lines;
    }

    std::string in_columns(const std::string& name, const std::string& description) const
    {
        const std::string left = "  " + name;
        std::string right = in_lines(description, column_width_);
        if (left.size() + 1 >= column_width_) {
            return left + "\n" + right;
        }
        return left + right.substr(std::min(left.size(), right.size()));
    }
};

using Verbs = std::vector<const CLI::App*>;

// The whole command line, the verb that was recognised, and the verb below it.
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
    return fmt::format("{}", fmt::join(names, " "));
}

Failure usage(const std::string& message, const std::string& hint)
{
    return {ExitCode::usage, message, hint};
}

std::string help_hint(const Verbs& chosen)
{
    return fmt::format("`{} --help` shows what is possible.", typed(chosen));
}

std::vector<std::string> verb_names(const CLI::App& verb)
{
    std::vector<std::string> names;
    std::ranges::transform(verb.get_subcommands({}), std::back_inserter(names),
                           [](const CLI::App* each) { return each->get_name(); });
    return names;
}

// Null where there is none.
const CLI::App* find_verb(const CLI::App& verb, const std::string& name)
{
    const std::vector<const CLI::App*> below = verb.get_subcommands({});
    const auto found = std::ranges::find(below, name, [](const CLI::App* each) { return each->get_name(); });
    return found == below.end() ? nullptr : *found;
}

std::string list_verbs(const CLI::App& verb)
{
    return fmt::format("{}", fmt::join(verb_names(verb), ", "));
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

// The parser would show the help of what it knows and pass over the rest.
void require_verbs(const CLI::App& root, const std::vector<std::string>& words)
{
    Verbs verbs{&root};
    for (const std::string& word : words) {
        const CLI::App* const next = find_verb(*verbs.back(), word);
        if (next == nullptr) {
            throw unknown_word(verbs, word);
        }
        verbs.push_back(next);
    }
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

// What the parser throws tells the kind of the mistake; its text is not meant for a user.
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

// An argument may begin with a dash, so that arguments come behind "--".
void add_words(const CLI::App& verb, std::span<const std::string_view> without, std::vector<std::string>& words)
{
    std::vector<std::string> arguments;
    for (const CLI::Option* const option : verb.get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || std::ranges::find(without, name) != without.end()) {
            continue;
        }
        if (option->get_items_expected_max() == 0) {
            if (option->results().back() == "true") {
                words.push_back(name);
            }
        } else if (option->get_positional()) {
            arguments.insert(arguments.end(), option->results().begin(), option->results().end());
        } else {
            for (const std::string& value : option->results()) {
                words.push_back(fmt::format("{}={}", name, value));
            }
        }
    }
    if (!arguments.empty()) {
        words.emplace_back("--");
        words.insert(words.end(), arguments.begin(), arguments.end());
    }
}

} // namespace

CommandLine::CommandLine(const std::string& description, const std::string& version)
    : app_{std::make_unique<CLI::App>(description, "tessit")}
{
    app_->formatter(std::make_shared<HelpFormatter>());
    app_->set_version_flag("--version", "tessit " + version, "Show the version");
    app_->set_help_flag("-h,--help", "Show this help");
    app_->fallthrough();
}

CommandLine::~CommandLine() = default;

Verb CommandLine::root() const
{
    return Verb{*app_};
}

bool CommandLine::parse(int argc, const char* const* argv)
{
    if (argc < 2) {
        print_to(stderr, "{}\n", app_->help());
    }
    std::vector<std::string> given{argv + std::min(argc, 1), argv + argc};
    if (!given.empty() && given.front() == "help") { // `help VERB` is `VERB --help`
        given.erase(given.begin());
        require_verbs(*app_, given);
        given.emplace_back("--help");
    }
    std::ranges::reverse(given); // as the parser takes them
    try {
        app_->parse(std::move(given));
    } catch (const CLI::CallForHelp&) {
        print_to(stdout, "{}", app_->help());
        return false;
    } catch (const CLI::CallForVersion& version) {
        print_to(stdout, "{}\n", version.what());
        return false;
    } catch (const CLI::ParseError& error) {
        throw refusal(*app_, error);
    }
    return true;
}

std::vector<std::string> CommandLine::candidates(std::span<const std::string> words) const
{
    Verbs verbs{app_.get()};
    for (const std::string& word : words) {
        if (const CLI::App* const next = find_verb(*verbs.back(), word)) {
            verbs.push_back(next);
        }
    }
    std::vector<std::string> names = verb_names(*verbs.back());
    std::ranges::copy(option_names(verbs), std::back_inserter(names));
    std::ranges::sort(names); // --help is every verb's
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

std::string CommandLine::command() const
{
    Verbs verbs = chosen_verbs(*app_);
    verbs.erase(verbs.begin());
    return typed(verbs);
}

std::vector<std::string> CommandLine::words(std::span<const std::string_view> without) const
{
    std::vector<std::string> words;
    for (const CLI::App* const verb : chosen_verbs(*app_)) {
        if (verb != app_.get()) {
            words.push_back(verb->get_name());
        }
        add_words(*verb, without, words);
    }
    return words;
}

} // namespace tessit::cli
