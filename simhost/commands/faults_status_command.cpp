// simhost faults status: what became of each rule.
#include <fmt/format.h>

#include <memory>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/faults/rule_counts.h"
#include "simhost/faults/settings_in_use.h"

namespace {

struct StatusOptions {
    std::string file;
    bool expect_all = false;
};

std::unique_ptr<filter::Ledger> read_ledger(const std::string &path) {
    try {
        return filter::Ledger::read(path);
    } catch (const std::runtime_error &failure) {
        throw UsageError(failure.what());
    }
}

void status(const StatusOptions &options, Report &report) {
    const std::string path = ledger_in_use(settings_in_use(options.file));
    const auto ledger = read_ledger(path);
    report.line("ledger         {}", printable(path));
    Json processes = Json::array();
    for (const filter::ProcessSlot &slot : ledger->layout().processes) {
        if (!filter::is_alive(slot))
            continue;
        const char *state = slot.rejected != 0 ? "found the file wrong, and keeps the rules before it"
                            : slot.version != ledger->layout().version ? "has older rules"
                                                                       : "has these rules";
        report.line("process        {} {}", slot.process.load(), state);
        processes.push_back({{"process", slot.process.load()}, {"state", state}});
    }
    const size_t never = tell_rule_counts(*ledger, report);
    report.result()["ledger"] = path;
    report.result()["processes"] = std::move(processes);
    if (options.expect_all && never > 0)
        throw BadAnswer(never == 1 ? "a rule never fired" : fmt::format("{} rules never fired", never));
}

}  // namespace

void add_faults_status_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<StatusOptions>();
    CLI::App *command = add_command(app, "status", "Tell how often each rule has matched and fired");
    command->add_option("FILE", options->file,
                        "Settings file or ledger (default: $STSPI_FILTER, or /etc/quillmere/filter.conf)");
    command->add_flag("--expect-all", options->expect_all, "End with status 1 when a rule never fired");
    add_json_option(*command, line.output);
    command->callback([options, &line] {
        line.command = "faults status";
        line.action = [options](Workbench &bench) { status(*options, bench.report); };
    });
}
