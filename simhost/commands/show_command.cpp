// simhost show: what the framework will see of a file.
#include <fmt/format.h>

#include <memory>

#include "base/escaped_text.h"
#include "simhost/check/checked_file.h"
#include "simhost/check/configuration_source.h"
#include "simhost/check/findings.h"
#include "simhost/commands/command_line.h"
#include "simhost/show/dot_view.h"
#include "simhost/show/graphviz.h"
#include "simhost/show/html_view.h"
#include "simhost/show/json_view.h"
#include "simhost/show/text_view.h"

namespace {

struct ShowOptions {
    std::string file;
    std::string grammar;
    std::string format = "text";
};

std::string picture_of(const View &view, const std::string &format) {
    if (format == "dot")
        return dot_of(view);
    if (format == "svg")
        return svg_of_dot(dot_of(view));
    if (format == "html")
        return html_of(view);
    return text_of(view);
}

void show(const ShowOptions &options, Report &report) {
    const Grammar grammar = choose_grammar(options.file, options.grammar);
    const std::string name = options.file == "-" ? "<stdin>" : options.file;
    const View view = view_of(check_file(name, read_configuration_source(options.file), grammar));
    if (report.options().json)
        report.result() = json_of(view);
    else
        report.raw(picture_of(view, options.format));
    if (view.errors > 0)
        report.warn(
            fmt::format("{}: {}: \"simhost check\" tells them", printable(name), counted(view.errors, "error")));
}

}  // namespace

void add_show_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<ShowOptions>();
    CLI::App *command = add_command(app, "show", "Show what a framework will see of a .sim file");
    command->add_option("FILE", options->file, "File to show; - is standard input")->required();
    add_grammar_option(*command, options->grammar);
    CLI::Option *format =
        command
            ->add_option("--format", options->format,
                         "How: text (a tree, the default), json (as --json), dot, svg (drawn by Graphviz) or html (a "
                         "page of its own)")
            ->type_name("FORMAT")
            ->check(CLI::IsMember({"text", "json", "dot", "svg", "html"}));
    add_json_option(*command, line.output)->excludes(format);
    command->add_flag("--strict", line.output.strict, "End with status 3 when the file has errors");
    command->footer(
        "Pools stand in the order of the framework's list, those of no host last. The\n"
        "answer is the plug-in's own: where it differs from what the file seems to say,\n"
        "\"simhost check\" tells why.\n"
        "\n"
        "Exit status: 0 shown, 1 it could not be drawn, 2 the file cannot be read or\n"
        "Graphviz is not there, 3 the file has errors (with --strict).");
    command->callback([options, &line] {
        line.command = "show";
        line.output.json = line.output.json || options->format == "json";
        line.action = [options](Workbench &bench) { show(*options, bench.report); };
    });
}
