#include "cli/options/verb.h"

#include "cli/failure.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <map>

namespace tessit::cli {
namespace {

bool is_option(const std::string& name)
{
    return name.starts_with('-');
}

// "--speed" of "-s,--speed".
std::string long_name(const std::string& name)
{
    return name.substr(name.rfind(',') + 1);
}

[[noreturn]] void refuse(const std::string& name, const std::string& reason, const std::string& hint)
{
    throw Failure{ExitCode::usage, fmt::format("{}: {}", long_name(name), reason), hint};
}

void require_once(const std::string& name, const std::vector<std::string>& values)
{
    if (values.size() > 1) {
        refuse(name, fmt::format("it is given {} times", values.size()), "Give it once.");
    }
}

bool parse_truth(const std::string& name, const std::string& text)
{
    if (text != "true" && text != "false") {
        refuse(name, fmt::format("'{}' is neither true nor false", text), "Write true or false.");
    }
    return text == "true";
}

CLI::Option& add(CLI::App& app, const std::string& name, const std::string& placeholder, CLI::callback_t callback,
                 const std::string& help)
{
    CLI::Option* const option = app.add_option(name, std::move(callback), help);
    // How often it may be given is for the callback to say.
    option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    return *option->option_text(placeholder);
}

CLI::Option& add_flag(CLI::App& app, const std::string& name, bool& value, bool meaning, const std::string& help)
{
    const auto set = [name, &value, meaning](const CLI::results_t& given) {
        value = parse_truth(name, given.back()) == meaning;
        return true;
    };
    return *add(app, name, "", set, help).expected(0)->disable_flag_override();
}

} // namespace

Option Option::required() const
{
    option_->required();
    return *this;
}

Option Option::excludes(Option other) const
{
    option_->excludes(other.option_);
    return *this;
}

Option Option::with_default(const std::string& text) const
{
    option_->default_str(text);
    return *this;
}

Option Option::under_heading(const std::string& heading) const
{
    option_->group(heading);
    return *this;
}

Option Option::or_environment(const std::string& variable) const
{
    option_->envname(variable);
    return *this;
}

bool Option::is_given() const
{
    return option_->count() != 0;
}

std::vector<std::string> Option::values() const
{
    return option_->results();
}

void Option::take(const std::vector<std::string>& values) const
{
    for (const std::string& value : values) {
        option_->add_result(value);
    }
    option_->run_callback();
}

Verb Verb::verb(const std::string& name, const std::string& help) const
{
    return Verb{*app_->add_subcommand(name, help)->group("Commands")};
}

bool Verb::is_chosen() const
{
    return app_->parsed();
}

void Verb::require_verb() const
{
    app_->require_subcommand(1);
}

void Verb::allow_verb() const
{
    app_->require_subcommand(0, 1);
}

Verb Verb::below(const std::string& name) const
{
    return Verb{*app_->get_subcommand(name)};
}

void Verb::examples(std::string_view first, std::string_view second) const
{
    const std::string above = app_->get_footer();
    app_->footer(
        fmt::format("{}Examples:\n  tessit {}\n  tessit {}", above.empty() ? "" : above + "\n\n", first, second));
}

void Verb::footer(const std::string& text) const
{
    app_->footer(text);
}

Option Verb::flag(const std::string& name, bool& value, const std::string& help) const
{
    return Option{add_flag(*app_, name, value, true, help)};
}

Option Verb::off_flag(const std::string& name, bool& value, const std::string& help) const
{
    return Option{add_flag(*app_, name, value, false, help)};
}

Option Verb::parsed(const std::string& name, const std::string& placeholder, Parser parser,
                    const std::string& help) const
{
    const auto parse = [name, parser = std::move(parser)](const CLI::results_t& values) {
        require_once(name, values);
        parser(values.front());
        return true;
    };
    return Option{*add(*app_, name, placeholder, parse, help).expected(1)};
}

Option Verb::parsed_list(const std::string& name, const std::string& placeholder, Parser parser,
                         const std::string& help) const
{
    const auto parse = [parser = std::move(parser)](const CLI::results_t& values) {
        std::ranges::for_each(values, parser);
        return true;
    };
    CLI::Option& option = add(*app_, name, placeholder, parse, help);
    return Option{is_option(name) ? *option.expected(1) : *option.expected(1, -1)->allow_extra_args()};
}

Option Verb::text(const std::string& name, const std::string& placeholder, std::string& value,
                  const std::string& help) const
{
    return parsed(
        name, placeholder, [&value](const std::string& text) { value = text; }, help);
}

Option Verb::text_list(const std::string& name, const std::string& placeholder, std::vector<std::string>& values,
                       const std::string& help) const
{
    return parsed_list(
        name, placeholder, [&values](const std::string& text) { values.push_back(text); }, help);
}

Option Verb::number(const std::string& name, const std::string& placeholder, std::uint32_t& value, std::uint32_t lowest,
                    std::uint32_t highest, const std::string& help) const
{
    const auto parse = [name, &value, lowest, highest](const std::string& text) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc{} || end != text.data() + text.size() || value < lowest || value > highest) {
            refuse(name, fmt::format("'{}' is not a number from {} to {}", text, lowest, highest),
                   fmt::format("Give a decimal number, for example {}.", std::max(lowest, 1U)));
        }
    };
    return parsed(name, placeholder, parse, help);
}

std::vector<Verb::Given> Verb::given_in_order(std::initializer_list<std::string_view> names) const
{
    std::vector<Given> given;
    std::map<const CLI::Option*, std::size_t> next; // value of an option
    for (const CLI::Option* const option : app_->parse_order()) {
        if (const std::string name = option->get_name(); std::ranges::find(names, name) != names.end()) {
            given.push_back({name, option->results().at(next[option]++)});
        }
    }
    return given;
}

Option Verb::option(const std::string& name) const
{
    return Option{*app_->get_option(name)};
}

std::size_t find_choice(const std::string& option, const std::string& text, std::span<const std::string_view> names)
{
    const auto found = std::ranges::find(names, text);
    if (found == names.end()) {
        refuse(option, fmt::format("there is no '{}'", text), fmt::format("One of: {}.", joined(names)));
    }
    return static_cast<std::size_t>(found - names.begin());
}

} // namespace tessit::cli
