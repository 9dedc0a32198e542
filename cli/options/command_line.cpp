#include "cli/options/command_line.h"

#include "cli/options/completion.h"
#include "cli/options/help.h"
#include "cli/options/manual.h"
#include "cli/options/refusal.h"
#include "cli/options/verb_tree.h"
#include "cli/terminal/stream.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp> // App needs it to link
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

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
    app_->formatter(make_help_formatter());
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

std::vector<std::string> CommandLine::candidates(std::span<const std::string> words, const std::string& begun) const
{
    return completion_candidates(*app_, words, begun);
}

std::string CommandLine::awaiting_value(std::span<const std::string> words) const
{
    return option_awaiting_value(*app_, words);
}

std::string CommandLine::manual() const
{
    return manual_page(*app_);
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
