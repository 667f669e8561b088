#include "simhost/commands/help_formatter.h"

#include <fmt/format.h>

#include <sstream>

namespace {

constexpr size_t line_width = 80;
constexpr size_t left_column = 26;

}  // namespace

std::string wrapped(const std::string &text, size_t width, size_t indent) {
    std::string result;
    size_t column = 0;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (column > 0 && column + 1 + word.size() > width) {
            result += '\n' + std::string(indent, ' ');
            column = 0;
        }
        if (column > 0) {
            result += ' ';
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

HelpFormatter::HelpFormatter() {
    label("OPTIONS", "OPTION...");
    label("SUBCOMMAND", "COMMAND");
    label("Subcommands", "Commands");
    label("Positionals", "Arguments");
}

std::string HelpFormatter::entry(const std::string &left, const std::string &right) {
    const std::string text = wrapped(right, line_width - left_column, left_column);
    if (left.size() + 4 > left_column)
        return fmt::format("  {}\n{}{}\n", left, std::string(left_column, ' '), text);
    return fmt::format("  {:<{}}{}\n", left, left_column - 2, text);
}

std::string HelpFormatter::make_option(const CLI::Option *option, bool is_positional) const {
    std::string left = option->get_name(is_positional, !is_positional);
    // The words that it may be follow a ':': its description says them, with what each means.
    const std::string type = option->get_type_name();
    if (!is_positional && !type.empty())
        left += ' ' + type.substr(0, type.find(':'));
    std::string right = option->get_description();
    if (option->get_required() && !is_positional)
        right += " (required)";
    return entry(left, right);
}

std::string HelpFormatter::make_subcommand(const CLI::App *command) const {
    return entry(command->get_name(), command->get_description());
}
