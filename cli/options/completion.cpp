#include "cli/options/completion.h"

#include "cli/options/verb_tree.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <iterator>

namespace tessit::cli {
namespace {

// What was typed already: its verbs, and the option that the next word is the value of.
struct Course
{
    Verbs verbs;
    const CLI::Option* awaiting = nullptr;
    bool only_arguments = false; ///< behind "--"
};

const CLI::Option* find_option(const Verbs& verbs, const std::string& word)
{
    for (const CLI::App* const verb : verbs) {
        for (const CLI::Option* const option : verb->get_options()) {
            if (word.starts_with('-') && option->check_name(word)) {
                return option;
            }
        }
    }
    return nullptr;
}

Course follow(const CLI::App& root, std::span<const std::string> words)
{
    Course course{.verbs = {&root}};
    for (const std::string& word : words) {
        if (word == "=") { // of "--loader=on", as bash takes it apart
            continue;
        }
        if (course.awaiting != nullptr || course.only_arguments) {
            course.awaiting = nullptr;
        } else if (word == "--") {
            course.only_arguments = true;
        } else if (const CLI::Option* const option = find_option(course.verbs, word)) {
            course.awaiting = option->get_items_expected_max() == 0 ? nullptr : option;
        } else if (const CLI::App* const next = find_verb(*course.verbs.back(), word)) {
            course.verbs.push_back(next);
        }
    }
    return course;
}

// "on|off": where an option has a choice of values, its placeholder tells them.
std::vector<std::string> choices(const CLI::Option& option)
{
    const std::string& text = option.get_option_text();
    if (text.find('|') == std::string::npos) {
        return {};
    }
    std::vector<std::string> names;
    for (std::size_t at = 0; at <= text.size(); at += names.back().size() + 1) {
        names.push_back(text.substr(at, text.find('|', at) - at));
    }
    return names;
}

std::vector<std::string> verbs_or_choices(const CLI::App& verb)
{
    std::vector<std::string> names = verb_names(verb);
    for (const CLI::Option* const option : verb.get_options()) {
        if (option->get_positional()) {
            std::ranges::copy(choices(*option), std::back_inserter(names));
        }
    }
    return names;
}

// "--loader=on", of an option that was typed with its sign.
std::vector<std::string> assignments(const Verbs& verbs, const std::string& name)
{
    const CLI::Option* const option = find_option(verbs, name);
    std::vector<std::string> words = option == nullptr ? std::vector<std::string>{} : choices(*option);
    std::ranges::transform(words, words.begin(), [&name](const std::string& value) { return name + "=" + value; });
    return words;
}

std::vector<std::string> all_candidates(const Course& course, const std::string& begun)
{
    if (course.awaiting != nullptr) {
        return choices(*course.awaiting);
    }
    if (begun.starts_with('-') && !course.only_arguments) {
        const std::size_t sign = begun.find('=');
        return sign == std::string::npos ? option_names(course.verbs)
                                         : assignments(course.verbs, begun.substr(0, sign));
    }
    return verbs_or_choices(*course.verbs.back());
}

} // namespace

std::vector<std::string> completion_candidates(const CLI::App& root, std::span<const std::string> words,
                                               const std::string& begun)
{
    std::vector<std::string> candidates = all_candidates(follow(root, words), begun);
    std::erase_if(candidates, [&begun](const std::string& each) { return !each.starts_with(begun); });
    std::ranges::sort(candidates); // --help is every verb's
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    return candidates;
}

std::string option_awaiting_value(const CLI::App& root, std::span<const std::string> words)
{
    const CLI::Option* const awaiting = follow(root, words).awaiting;
    return awaiting == nullptr ? "" : awaiting->get_name();
}

} // namespace tessit::cli
