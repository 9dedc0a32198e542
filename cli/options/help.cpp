#include "cli/options/help.h"

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <string_view>

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

} // namespace

std::shared_ptr<CLI::FormatterBase> make_help_formatter()
{
    return std::make_shared<HelpFormatter>();
}

} // namespace tessit::cli
