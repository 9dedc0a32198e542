/// How a verb declares what may be typed after it. The parser is seen in this folder alone.
#pragma once

#include "cli/text/lists.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tessit::cli {

/// An option, or an argument without a name of its own, after it was declared.
class Option
{
public:
    explicit Option(CLI::Option& option) : option_{&option} {}

    Option required() const;
    Option excludes(Option other) const;
    /// What the help calls the value that holds when nothing is given.
    Option with_default(const std::string& text) const;
    Option under_heading(const std::string& heading) const;
    /// Used where the command line does not give the option.
    Option or_environment(const std::string& variable) const;

    bool is_given() const;
    /// The value or values as they were typed.
    std::vector<std::string> values() const;
    /// Takes values from somewhere else, with the same checks.
    void take(const std::vector<std::string>& values) const;

private:
    CLI::Option* option_;
};

/// A value of an option by its name.
template <typename Value>
struct Choice
{
    std::string_view name;
    Value value;
};

/// The command line as a whole, or one of its verbs. Names that begin with a dash declare options, "-o,--output",
/// others arguments, "RANGE". A parser is called while the command line is read and throws a Failure with
/// ExitCode::usage. What a declaration refers to must live until then.
class Verb
{
public:
    using Parser = std::function<void(const std::string& text)>;

    explicit Verb(CLI::App& app) : app_{&app} {}

    /// A verb below this one: `tessit sim show`.
    Verb verb(const std::string& name, const std::string& help) const;
    bool is_chosen() const;
    /// One of the verbs below this one must, or may, be given.
    void require_verb() const;
    void allow_verb() const;
    /// A verb below this one that is known to have been declared.
    Verb below(const std::string& name) const;
    void examples(std::string_view first, std::string_view second) const;
    /// Text below the list of options.
    void footer(const std::string& text) const;

    Option flag(const std::string& name, bool& value, const std::string& help) const;
    /// Makes the value false.
    Option off_flag(const std::string& name, bool& value, const std::string& help) const;
    Option parsed(const std::string& name, const std::string& placeholder, Parser parser,
                  const std::string& help) const;
    /// As parsed, for every time that it is given.
    Option parsed_list(const std::string& name, const std::string& placeholder, Parser parser,
                       const std::string& help) const;
    Option text(const std::string& name, const std::string& placeholder, std::string& value,
                const std::string& help) const;
    Option text_list(const std::string& name, const std::string& placeholder, std::vector<std::string>& values,
                     const std::string& help) const;
    Option number(const std::string& name, const std::string& placeholder, std::uint32_t& value, std::uint32_t lowest,
                  std::uint32_t highest, const std::string& help) const;
    template <typename Value, std::size_t count>
    Option choice(const std::string& name, const Choice<Value> (&choices)[count], Value& value,
                  const std::string& help) const;

    struct Given
    {
        std::string name;
        std::string value;
    };
    /// After parsing: the values of these options in the order in which they were typed.
    std::vector<Given> given_in_order(std::initializer_list<std::string_view> names) const;

    /// An option of this verb that is known to have been declared.
    Option option(const std::string& name) const;

private:
    CLI::App* app_;
};

/// The place of the text in the list; a Failure names the list otherwise.
std::size_t find_choice(const std::string& option, const std::string& text, std::span<const std::string_view> names);

template <typename Value, std::size_t count>
Option Verb::choice(const std::string& name, const Choice<Value> (&choices)[count], Value& value,
                    const std::string& help) const
{
    std::vector<std::string_view> names;
    std::vector<Value> values;
    for (const Choice<Value>& choice : choices) {
        names.push_back(choice.name);
        values.push_back(choice.value);
    }
    const std::string placeholder = joined(names, "|");
    return parsed(
        name, placeholder,
        [name, names, values, &value](const std::string& text) { value = values.at(find_choice(name, text, names)); },
        help);
}

} // namespace tessit::cli
