// simhost faults explain: rules as English sentences.
#include <fmt/format.h>

#include <memory>

#include "base/escaped_text.h"
#include "filter/rules/sentence.h"
#include "simhost/commands/command_line.h"
#include "simhost/faults/rule_file.h"

namespace {

void explain_section(const filter::Section &section, Report &report, Json &json) {
    report.line("plug-in        {}",
                section.plugin.empty() ? "the one that the caller names" : printable(section.plugin));
    if (!section.journal.empty())
        report.line("journal        {}", printable(section.journal));
    report.line("seed           {}",
                section.has_seed ? std::to_string(section.seed) : "drawn when the ledger is begun, which tells it");
    for (const filter::Rule &rule : section.rules) {
        const std::string sentence = filter::rule_sentence(rule);
        report.line("line {:<9} {}", rule.line, printable(sentence));
        json.push_back({{"line", rule.line}, {"rule", rule.text}, {"sentence", sentence}});
    }
}

void explain(const std::string &path, Report &report) {
    const RuleFile file = read_rule_file(path);
    demand_no_mistakes(file);
    Json rules = Json::array();
    for (const filter::Section &section : file.settings.sections)
        explain_section(section, report, rules);
    report.result()["rules"] = std::move(rules);
}

}  // namespace

void add_faults_explain_command(CLI::App &app, CommandLine &line) {
    auto path = std::make_shared<std::string>();
    CLI::App *command = add_command(app, "explain", "Tell each rule of a file as one English sentence");
    command->add_option("FILE", *path, "File of rules; - is standard input")->required();
    add_json_option(*command, line.output);
    command->callback([path, &line] {
        line.command = "faults explain";
        line.action = [path](Workbench &bench) { explain(*path, bench.report); };
    });
}
