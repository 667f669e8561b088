// simhost faults check: what is wrong with a file of rules.
#include <fmt/format.h>

#include <memory>

#include "base/escaped_text.h"
#include "simhost/check/findings.h"
#include "simhost/commands/command_line.h"
#include "simhost/faults/rule_file.h"

namespace {

std::string summary(const RuleFile &file, size_t hidden) {
    size_t rules = 0;
    for (const filter::Section &section : file.settings.sections)
        rules += section.rules.size();
    std::string verdict = "good";
    if (!file.settings.errors.empty())
        verdict = counted(file.settings.errors.size(), "error");
    else if (hidden > 0)
        verdict = counted(hidden, "warning");
    return fmt::format("{}: {}: {}", printable(file.name), counted(rules, "rule"), verdict);
}

Json file_json(const RuleFile &file) {
    Json errors = Json::array();
    for (const filter::Finding &finding : file.settings.errors)
        errors.push_back({{"line", finding.line},
                          {"column", finding.column},
                          {"length", finding.length},
                          {"text", finding.text},
                          {"help", finding.help}});
    return {{"file", file.name}, {"errors", std::move(errors)}};
}

void check(const std::vector<std::string> &paths, Report &report) {
    size_t errors = 0;
    report.result()["files"] = Json::array();
    for (const std::string &path : paths) {
        const RuleFile file = read_rule_file(path);
        size_t hidden = 0;
        const std::string text = mistakes_text(file) + hidden_rules_text(file, hidden);
        if (!text.empty())
            report.line("{}", text.substr(0, text.size() - 1));
        report.line("{}", summary(file, hidden));
        Json json = file_json(file);
        json["hidden_rules"] = hidden;
        report.result()["files"].push_back(std::move(json));
        errors += file.settings.errors.size();
        if (hidden > 0)
            report.warnings_told();
    }
    if (errors > 0)
        throw BadAnswer(fmt::format("{} in {}", counted(errors, "error"), counted(paths.size(), "file")));
}

}  // namespace

void add_faults_check_command(CLI::App &app, CommandLine &line) {
    auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App *command = add_command(app, "check", "Find what is wrong with files of rules");
    command->add_option("FILE", *paths, "Files to check; - is standard input")->required();
    add_json_option(*command, line.output);
    command->add_flag("--strict", line.output.strict, "End with status 3 when all is well but for warnings");
    command->footer(
        "An error: the filter would refuse the file. A warning: an earlier rule always\n"
        "answers in place of the call, so this one never acts.\n"
        "\n"
        "Exit status: 0 no errors, 1 errors, 2 a file cannot be read, 3 warnings (with\n"
        "--strict).");
    command->callback([paths, &line] {
        line.command = "faults check";
        line.action = [paths](Workbench &bench) { check(*paths, bench.report); };
    });
}
