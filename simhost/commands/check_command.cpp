#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "simhost/check/checked_file.h"
#include "simhost/check/configuration_source.h"
#include "simhost/check/findings.h"
#include "simhost/check/json_report.h"
#include "simhost/check/text_report.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/server_name.h"
#include "simhost/simhost_version.h"

namespace {

struct CheckOptions {
    std::vector<std::string> files;
    std::string grammar;
    std::vector<std::string> servers;
    bool sarif = false;
};

void tell(const std::vector<CheckedFile> &files, const CheckOptions &options, Report &report) {
    if (options.sarif) {
        report.raw(sarif_log(files, SIMHOST_VERSION).dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
        return;
    }
    report.result()["files"] = Json::array();
    for (const CheckedFile &file : files) {
        report.result()["files"].push_back(file_json(file));
        const std::string findings = findings_text(file, report.colours());
        if (!findings.empty())
            report.line("{}", findings.substr(0, findings.size() - 1));
        report.line("{}", summary_text(file));
    }
}

void check(const CheckOptions &options, Report &report) {
    for (const std::string &server : options.servers)
        demand_server_name(server);
    std::vector<CheckedFile> files;
    size_t unread = 0;
    size_t errors = 0;
    size_t warnings = 0;
    for (const std::string &path : options.files) {
        try {
            const Grammar grammar = choose_grammar(path, options.grammar);
            files.push_back(
                check_file(path == "-" ? "<stdin>" : path, read_configuration_source(path), grammar, options.servers));
            errors += count(files.back().findings, Severity::error);
            warnings += count(files.back().findings, Severity::warning);
        } catch (const UsageError &failure) {
            report.error(failure.what());
            ++unread;
        }
    }
    tell(files, options, report);
    if (warnings > 0)
        report.warnings_told();
    if (unread > 0)
        throw UsageError(fmt::format("not checked: {}", counted(unread, "file")));
    if (errors > 0)
        throw BadAnswer(fmt::format("{} in {}", counted(errors, "error"), counted(files.size(), "file")));
}

}  // namespace

void add_check_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App *command = add_command(app, "check", "Find what is wrong with .sim files");
    command->add_option("FILE", options->files, "Files to check; - is standard input")->required();
    add_grammar_option(*command, options->grammar);
    command
        ->add_option(
            "--server", options->servers,
            "Also require that every file serves these servers, PREFIX:HOST, separated by commas: a Copan array "
            "of that name, or a disk array with a pool that HOST sees (repeatable)")
        ->type_name("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    add_json_option(*command, line.output);
    command->add_flag("--sarif", options->sarif, "Answer with a SARIF 2.1.0 log on standard output")
        ->excludes("--json");
    command->add_flag("--strict", line.output.strict, "End with status 3 when all is well but for warnings");
    command->footer(
        "The file name decides how a file is read, as it does for the plug-in:\n"
        "Kelvarpool.sim serves disk arrays, any other NAME.sim Copan arrays. A file\n"
        "checked with --as array is taken for the coming Kelvarpool.sim.\n"
        "\n"
        "An error: the file does not mean what it says, or something in it is lost.\n"
        "A warning: allowed, but likely not what was meant. docs/check.md explains each\n"
        "finding by the name that stands in brackets behind it.\n"
        "\n"
        "Exit status: 0 no errors, 1 errors, 2 a file cannot be read, 3 warnings (with\n"
        "--strict).");
    command->callback([options, &line] {
        line.command = "check";
        line.action = [options](Workbench &bench) { check(*options, bench.report); };
    });
}
