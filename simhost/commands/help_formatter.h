// Help texts that fit a terminal of 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

// The text broken at blanks so that no line is longer than width, each line but the first indented.
std::string wrapped(const std::string &text, size_t width, size_t indent);

class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();
    std::string make_option(const CLI::Option *option, bool is_positional) const override;
    std::string make_subcommand(const CLI::App *command) const override;

private:
    static std::string entry(const std::string &left, const std::string &right);
};
