// simhost load compare: two runs against each other.
#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/load/load_comparison.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

struct LoadCompareOptions {
    std::string before;
    std::string after;
    double worse_than_percent = 10;
};

Json result_in(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        throw UsageError(fmt::format("cannot read {}: {}", printable(path), std::strerror(errno)));
    Json document = Json::parse(stream, nullptr, false);
    if (!document.is_object() || !document.contains("result"))
        throw UsageError(fmt::format("{} is no answer of \"simhost load --json\"", printable(path)));
    return document["result"];
}

std::string value_text(const LoadDifference &difference) {
    return difference.more_is_better ? fmt::format("{:.1f}", difference.after)
                                     : format_duration(difference.after / 1e9);
}

std::string before_text(const LoadDifference &difference) {
    return difference.more_is_better ? fmt::format("{:.1f}", difference.before)
                                     : format_duration(difference.before / 1e9);
}

void compare(const LoadCompareOptions &options, Report &report) {
    const Json before = result_in(options.before);
    const Json after = result_in(options.after);
    TextTable table({"WHAT", ">BEFORE", ">AFTER", ">CHANGE, 95 %", "VERDICT"});
    Json rows = Json::array();
    size_t worse = 0;
    for (const LoadDifference &each : compare_loads(before, after, options.worse_than_percent / 100)) {
        worse += each.worse ? 1 : 0;
        const bool is_certain = each.low > 0 || each.high < 0;
        const bool is_better = is_certain && (each.low > 0) == each.more_is_better;
        const char *verdict = each.worse    ? "WORSE"
                              : !is_certain ? "same"
                              : is_better   ? "better"
                                            : "worse, within bounds";
        table.add({each.what, before_text(each), value_text(each),
                   fmt::format("{:+.1f} % to {:+.1f} %", each.low * 100, each.high * 100), verdict});
        rows.push_back({{"what", each.what},
                        {"before", each.before},
                        {"after", each.after},
                        {"low", each.low},
                        {"high", each.high},
                        {"worse", each.worse}});
    }
    const bool is_broken = after["verdict"] != "kept";
    report.lines(table.lines());
    report.line("");
    report.line("verdict        {} of {} are worse by more than {:g} %", worse, rows.size(),
                options.worse_than_percent);
    report.result() = {{"worse", worse}, {"bound", options.worse_than_percent / 100}, {"differences", std::move(rows)}};
    if (is_broken)
        throw BadAnswer(fmt::format("promises were broken in {}", printable(options.after)));
    if (worse > 0)
        throw BadAnswer(fmt::format("{} figure{} worse", worse, worse == 1 ? " is" : "s are"));
}

}  // namespace

void add_load_compare_command(CLI::App &load, CommandLine &line) {
    auto options = std::make_shared<LoadCompareOptions>();
    CLI::App *command = add_command(load, "compare", "Compare two runs, with certainty");
    command->add_option("BEFORE", options->before, "Answer of \"load --json\"")->required();
    command->add_option("AFTER", options->after, "Another one")->required();
    command
        ->add_option("--worse-than", options->worse_than_percent,
                     "Percent by which a figure may be worse (default: 10)")
        ->type_name("PERCENT");
    add_json_option(*command, line.output);
    command->footer(
        "A figure is worse when all of the change's 95 % interval lies beyond the bound.\n"
        "\n"
        "Exit status: 0 nothing is worse, 1 something is, or promises were broken,\n"
        "2 a file cannot be used.");
    command->callback([options, &line] {
        line.command = "load compare";
        line.action = [options](Workbench &bench) { compare(*options, bench.report); };
    });
}
