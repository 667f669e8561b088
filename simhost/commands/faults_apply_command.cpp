// simhost faults apply: new rules for processes that run.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <thread>

#include "base/escaped_text.h"
#include "filter/ledger/ledger.h"
#include "simhost/commands/command_line.h"
#include "simhost/commands/file_replacement.h"
#include "simhost/faults/rule_file.h"
#include "simhost/faults/settings_in_use.h"
#include "simhost/host/data_sink.h"
#include "simhost/host/interrupt.h"

namespace fs = std::filesystem;

namespace {

struct ApplyOptions {
    std::string file;
    std::string settings;
    unsigned timeout_seconds = 60;
};

// Without a "plugin" line, processes that run would refuse the rules, and the next one would not start.
void demand_plugin_line(const RuleFile &file, const std::string &settings) {
    if (!file.settings.sections.front().plugin.empty())
        return;
    const std::string plugin = read_rule_file(settings).settings.sections.front().plugin;
    if (!plugin.empty())
        throw UsageError(fmt::format("{}: no line says which plug-in to wrap, as {} does (write \"plugin {}\")",
                                     printable(file.name), printable(settings), printable(plugin)));
}

// At once or not at all: nobody reads half a file.
void put_in_place(const RuleFile &file, const std::string &settings, FILE *own_output) {
    if (fs::exists(settings)) {
        FileReplacement replacement(settings);
        demand_plugin_line(file, settings);
        replacement.fill(file.text);
        replacement.take_place();
    } else {
        DataSink fresh(settings, false, own_output);
        fresh.write(file.text.data(), file.text.size());
        fresh.finish();
    }
}

struct Processes {
    size_t taken = 0;
    std::vector<uint64_t> waiting;
    std::vector<uint64_t> rejecting;
};

enum class Taking { taken, waiting, rejecting };

// A process with filters on each other has taken the rules when each of its filters has.
Processes look(const std::vector<std::unique_ptr<filter::Ledger>> &ledgers, uint64_t version) {
    std::map<uint64_t, Taking> processes;
    for (const auto &ledger : ledgers)
        for (const filter::ProcessSlot &slot : ledger->layout().processes) {
            if (!filter::is_alive(slot))
                continue;
            const Taking taking = slot.rejected == version  ? Taking::rejecting
                                  : slot.version == version ? Taking::taken
                                                            : Taking::waiting;
            Taking &worst = processes.emplace(slot.process.load(), taking).first->second;
            worst = std::max(worst, taking);
        }
    Processes found;
    for (const auto &[process, taking] : processes) {
        if (taking == Taking::taken)
            ++found.taken;
        else
            (taking == Taking::waiting ? found.waiting : found.rejecting).push_back(process);
    }
    return found;
}

// Those that filters have begun.
std::vector<std::unique_ptr<filter::Ledger>> begun_ledgers(const std::string &settings) {
    std::vector<std::unique_ptr<filter::Ledger>> ledgers;
    for (const SectionLedger &section : ledgers_in_use(settings))
        if (fs::exists(section.path))
            ledgers.push_back(filter::Ledger::read(section.path));
    return ledgers;
}

void apply(const ApplyOptions &options, Report &report) {
    const RuleFile file = read_rule_file(options.file);
    demand_no_mistakes(file);
    const std::string settings = settings_in_use(options.settings);
    std::error_code failure;
    if (!fs::equivalent(options.file, settings, failure))
        put_in_place(file, settings, report.own_output());
    report.line("settings       {}", printable(settings));
    const auto ledgers = begun_ledgers(settings);
    if (ledgers.empty()) {
        report.line("processes      none has begun a ledger yet: the next one takes the rules");
        return;
    }
    const uint64_t version = filter::settings_version(file.text);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(options.timeout_seconds);
    Processes found = look(ledgers, version);
    while (!found.waiting.empty() && std::chrono::steady_clock::now() < end) {
        stop_if_interrupted();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        found = look(ledgers, version);
    }
    report.line("processes      {} taken, {} refused, {} waiting", found.taken, found.rejecting.size(),
                found.waiting.size());
    report.result() = {
        {"settings", settings}, {"taken", found.taken}, {"refused", found.rejecting}, {"waiting", found.waiting}};
    if (!found.rejecting.empty())
        throw BadAnswer(fmt::format("process {} refuses the rules, and says why on its standard error",
                                    fmt::join(found.rejecting, ", ")));
    if (!found.waiting.empty())
        throw BadAnswer(fmt::format("process {} has made no call since: it takes the rules with its next one",
                                    fmt::join(found.waiting, ", ")));
}

}  // namespace

void add_faults_apply_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<ApplyOptions>();
    CLI::App *command = add_command(app, "apply", "Give new rules to every process that uses the filter");
    command->add_option("FILE", options->file, "File of rules; may be the settings file itself")->required();
    command
        ->add_option("--settings", options->settings,
                     "Settings file to replace (default: $STSPI_FILTER, or /etc/quillmere/filter.conf)")
        ->type_name("FILE");
    command->add_option("--timeout", options->timeout_seconds, "Seconds to wait for the processes (default: 60)")
        ->type_name("SECONDS");
    add_json_option(*command, line.output);
    command->footer(
        "Waits until every process has taken the rules, which it does with its next call.\n"
        "A link stays one, and the settings file keeps its mode and owner. Rules without\n"
        "a plugin line cannot take the place of a file that has one.\n"
        "\n"
        "Exit status: 0 all have taken them, 1 one refuses them or has not called yet,\n"
        "2 the rules are wrong or cannot be put in place.");
    command->callback([options, &line] {
        line.command = "faults apply";
        line.action = [options](Workbench &bench) { apply(*options, bench.report); };
    });
}
