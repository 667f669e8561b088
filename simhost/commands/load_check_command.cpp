// simhost load check: what is wrong with a workload.
#include <fmt/format.h>

#include <memory>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/load/workload_file.h"
#include "simhost/load/workload_settings.h"

namespace {

void check_workload(const std::string &file, Report &report) {
    const std::string text = workload_file_text(file);
    Workload workload;
    const std::vector<WorkloadMistake> mistakes = read_workload(text, workload);
    Json found = Json::array();
    for (const WorkloadMistake &mistake : mistakes)
        found.push_back({{"line", mistake.line}, {"column", mistake.column}, {"text", mistake.what}});
    Json settings = Json::object();
    for (const WorkloadSetting &setting : workload_settings())
        settings[setting.name] = setting.get(workload);
    report.result() = {{"file", file}, {"mistakes", found}, {"workload", settings}};
    if (!mistakes.empty()) {
        if (!report.options().json)
            report.raw(mistakes_text(mistakes, file, text));
        throw UsageError(
            fmt::format("{} has {} mistake{}", printable(file), mistakes.size(), mistakes.size() == 1 ? "" : "s"));
    }
    report.line("{} is a workload of {} streams", printable(file), workload.total_streams());
}

}  // namespace

void add_load_check_command(CLI::App &load, CommandLine &line) {
    auto file = std::make_shared<std::string>();
    CLI::App *command = add_command(load, "check", "Tell what is wrong with a workload");
    command->add_option("FILE", *file, "Workload to check; - is standard input")->required();
    add_json_option(*command, line.output);
    command->callback([file, &line] {
        line.command = "load check";
        line.action = [file](Workbench &bench) { check_workload(*file, bench.report); };
    });
}
