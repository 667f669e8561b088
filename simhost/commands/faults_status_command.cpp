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

std::unique_ptr<filter::Ledger> ledger_of(const SectionLedger &section) {
    try {
        return read_ledger(section);
    } catch (const std::runtime_error &failure) {
        throw UsageError(failure.what());
    }
}

Json tell_processes(const filter::Ledger &ledger, Report &report) {
    Json processes = Json::array();
    for (const filter::ProcessSlot &slot : ledger.layout().processes) {
        if (!filter::is_alive(slot))
            continue;
        const char *state = slot.rejected != 0 ? "found the file wrong, and keeps the rules before it"
                            : slot.version != ledger.layout().version ? "has older rules"
                                                                      : "has these rules";
        report.line("process        {} {}", slot.process.load(), state);
        processes.push_back({{"process", slot.process.load()}, {"state", state}});
    }
    return processes;
}

void status(const StatusOptions &options, Report &report) {
    RuleCountReport counts(report);
    for (const SectionLedger &section : ledgers_in_use(settings_in_use(options.file))) {
        const auto ledger = ledger_of(section);
        report.line("ledger         {}", printable(section.path));
        Json processes = ledger != nullptr ? tell_processes(*ledger, report) : Json::array();
        Json &told = counts.add(section, ledger.get());
        Json &place = section.number == 0 ? report.result() : told;
        place["ledger"] = section.path;
        place["processes"] = std::move(processes);
    }
    if (options.expect_all)
        counts.demand_all_fired();
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
