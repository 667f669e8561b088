// simhost diff: what a framework will see otherwise when one file takes the place of another.
#include <fmt/format.h>

#include <memory>

#include "base/escaped_text.h"
#include "simhost/check/checked_file.h"
#include "simhost/check/configuration_source.h"
#include "simhost/check/findings.h"
#include "simhost/commands/command_line.h"
#include "simhost/show/difference.h"

namespace {

struct DiffOptions {
    std::string before;
    std::string after;
    std::string grammar;
};

View view_of_file(const std::string &path, const std::string &as, Report &report) {
    const Grammar grammar = choose_grammar(path, as);
    const std::string name = path == "-" ? "<stdin>" : path;
    View view = view_of(check_file(name, read_configuration_source(path), grammar));
    if (view.errors > 0)
        report.warn(
            fmt::format("{}: {}: \"simhost check\" tells them", printable(name), counted(view.errors, "error")));
    return view;
}

void diff(const DiffOptions &options, Report &report) {
    if (options.before == "-" && options.after == "-")
        throw UsageError("standard input can be one of the files only");
    const View before = view_of_file(options.before, options.grammar, report);
    View after = view_of_file(options.after, options.grammar, report);
    if (before.grammar != after.grammar)
        throw UsageError("one file is a disk array's, the other one a Copan array's: add --as array or --as copan");
    // The name is the old one's when the new file takes its place.
    if (before.grammar == Grammar::copan)
        take_prefix(before, after);
    const Difference difference = difference_of(before, after);
    report.result() = difference_json(difference);
    const std::string text = difference_text(difference);
    report.line("{}", text.substr(0, text.size() - 1));
    if (difference.is_none())
        return;
    const char *who = difference.grammar == Grammar::array ? "host" : "server";
    throw BadAnswer(difference.seen.empty() ? "mounts end otherwise"
                                            : fmt::format("{} of {} would see something else", difference.seen.size(),
                                                          counted(difference.compared, who)));
}

}  // namespace

void add_diff_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<DiffOptions>();
    CLI::App *command = add_command(app, "diff", "Compare what a framework will see of two .sim files");
    command->add_option("BEFORE", options->before, "File as it is; - is standard input")->required();
    command->add_option("AFTER", options->after, "File that is to take its place; - is standard input")->required();
    add_grammar_option(*command, options->grammar);
    add_json_option(*command, line.output);
    command->add_flag("--strict", line.output.strict, "End with status 3 when nothing changes, but a file has errors");
    command->footer(
        "Not the lines are compared but what comes of them: for each host of a disk\n"
        "array its pools, their order, capacities, volumes, identifiers, directories\n"
        "and hosts, and how mounts end; for each server of a Copan array its volumes\n"
        "and its directory. \"-\" is gone, \"+\" is new, \"~\" is otherwise.\n"
        "\n"
        "Exit status: 0 nobody sees anything else, 1 somebody does, 2 a file cannot be\n"
        "read, 3 nobody does, but a file has errors (with --strict).");
    command->callback([options, &line] {
        line.command = "diff";
        line.action = [options](Workbench &bench) { diff(*options, bench.report); };
    });
}
