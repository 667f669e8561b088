// simhost help: what a command does and takes, as its --help.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"

namespace {

std::string help_of(const CLI::App &app, const std::vector<std::string> &words) {
    const CLI::App *command = &app;
    std::string name = "simhost";
    for (const std::string &word : words) {
        const std::vector<const CLI::App *> commands =
            command->get_subcommands([&word](const CLI::App *candidate) { return candidate->get_name() == word; });
        if (commands.empty())
            throw UsageError(unknown_word(*command, word));
        command = commands.front();
        name += ' ' + word;
    }
    return command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal);
}

}  // namespace

void add_help_command(CLI::App &app, CommandLine &line) {
    auto words = std::make_shared<std::vector<std::string>>();
    CLI::App *command = add_command(app, "help", "Show the help of a command, or of all");
    command->add_option("COMMAND", *words, "The command (\"image put\" takes two words)");
    command->callback([words, &app, &line] {
        line.command = "help";
        line.action = [words, &app](Workbench &bench) { bench.report.raw(help_of(app, *words)); };
    });
}
