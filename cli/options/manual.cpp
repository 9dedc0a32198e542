#include "cli/options/manual.h"

#include <CLI/App.hpp>
#include <fmt/format.h>
#include <string_view>

namespace tessit::cli {
namespace {

// Text as it stands, in the formatter's language.
std::string plain(std::string_view text)
{
    std::string escaped;
    for (const char character : text) {
        const bool begins_line = escaped.empty() || escaped.back() == '\n';
        if (begins_line && (character == '.' || character == '\'')) {
            escaped += "\\&";
        }
        if (character == '\\') {
            escaped += "\\e";
        } else if (character == '-') {
            escaped += "\\-";
        } else {
            escaped += character;
        }
    }
    return escaped;
}

std::string description_of(const CLI::Option& option)
{
    std::string text = plain(option.get_description());
    if (const std::string otherwise = option.get_default_str(); !otherwise.empty()) {
        text += fmt::format("; default {}", plain(otherwise));
    }
    if (const std::string variable = option.get_envname(); !variable.empty()) {
        text += fmt::format(" (environment: {})", plain(variable));
    }
    return text;
}

std::string entry(const CLI::Option& option)
{
    const std::string name = plain(option.get_name(option.get_positional(), true));
    const std::string value = plain(option.get_option_text());
    return fmt::format(".TP\n\\fB{}\\fR{}\n{}\n", name, value.empty() ? "" : " \\fI" + value + "\\fR",
                       description_of(option));
}

// Each verb has --help; only the whole command line's is worth a line.
std::string entries(const CLI::App& verb)
{
    std::string text;
    for (const bool positional : {true, false}) {
        for (const CLI::Option* const option : verb.get_options()) {
            const bool is_told_once = verb.get_parent() != nullptr && option == verb.get_help_ptr();
            if (option->get_positional() == positional && !is_told_once) {
                text += entry(*option);
            }
        }
    }
    return text;
}

// "FILE... [OPTIONS]": arguments that must be given, and those that may.
std::string usage(const CLI::App& verb, std::string_view name)
{
    std::string text{name};
    text += verb.get_options([](const CLI::Option* option) { return !option->get_positional(); }).size() > 1
                ? " [OPTIONS]"
                : "";
    for (const CLI::Option* const option : verb.get_options()) {
        if (option->get_positional()) {
            const std::string argument = option->get_name() + (option->get_items_expected_max() > 1 ? "..." : "");
            text += option->get_required() ? " " + argument : fmt::format(" [{}]", argument);
        }
    }
    return text + (verb.get_subcommands({}).empty() ? "" : " COMMAND");
}

std::string as_it_stands(const std::string& text)
{
    return text.empty() ? "" : fmt::format(".PP\n.nf\n{}\n.fi\n", plain(text));
}

void add_verb(const CLI::App& verb, const std::string& above, std::string& page)
{
    const std::string name = above + " " + verb.get_name();
    page += fmt::format(".SS \"{}\"\n{}.\n{}{}", plain(usage(verb, name)), plain(verb.get_description()), entries(verb),
                        as_it_stands(verb.get_footer()));
    for (const CLI::App* const below : verb.get_subcommands({})) {
        add_verb(*below, name, page);
    }
}

} // namespace

std::string manual_page(const CLI::App& root)
{
    const std::string& name = root.get_name();
    std::string page = fmt::format(".TH {} 1 \"\" \"{}\" \"User Commands\"\n"
                                   ".SH NAME\n{} \\- program and debug Birch microcontrollers over a J-Link probe\n"
                                   ".SH SYNOPSIS\n\\fB{}\\fR\n"
                                   ".SH DESCRIPTION\n{}\n{}"
                                   ".SH OPTIONS\n{}"
                                   ".SH COMMANDS\n",
                                   name, plain(root.version()), name, plain(usage(root, name)),
                                   plain(root.get_description()), as_it_stands(root.get_footer()), entries(root));
    for (const CLI::App* const verb : root.get_subcommands({})) {
        add_verb(*verb, name, page);
    }
    return page;
}

} // namespace tessit::cli
