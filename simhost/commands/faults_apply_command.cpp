// simhost faults apply: new rules for processes that run.
#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "base/escaped_text.h"
#include "filter/ledger/ledger.h"
#include "simhost/commands/command_line.h"
#include "simhost/faults/rule_file.h"
#include "simhost/faults/settings_in_use.h"
#include "simhost/host/interrupt.h"

namespace fs = std::filesystem;

namespace {

struct ApplyOptions {
    std::string file;
    std::string settings;
    unsigned timeout_seconds = 60;
};

// At once or not at all: nobody reads half a file.
void replace(const std::string &target, const std::string &text) {
    const std::string fresh = target + ".new";
    {
        std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
        stream << text;
        stream.flush();
        if (!stream)
            throw UsageError(fmt::format("cannot write {}", printable(fresh)));
    }
    std::error_code failure;
    fs::rename(fresh, target, failure);
    if (failure)
        throw UsageError(fmt::format("cannot replace {}: {}", printable(target), failure.message()));
}

struct Processes {
    size_t taken = 0;
    std::vector<uint64_t> waiting;
    std::vector<uint64_t> rejecting;
};

Processes look(const filter::Ledger &ledger, uint64_t version) {
    Processes found;
    for (const filter::ProcessSlot &slot : ledger.layout().processes) {
        if (!filter::is_alive(slot))
            continue;
        if (slot.rejected == version)
            found.rejecting.push_back(slot.process);
        else if (slot.version == version)
            ++found.taken;
        else
            found.waiting.push_back(slot.process);
    }
    return found;
}

void apply(const ApplyOptions &options, Report &report) {
    const RuleFile file = read_rule_file(options.file);
    demand_no_mistakes(file);
    const std::string settings = settings_in_use(options.settings);
    std::error_code failure;
    if (!fs::equivalent(options.file, settings, failure))
        replace(settings, file.text);
    report.line("settings       {}", printable(settings));
    const std::string path = ledger_in_use(settings);
    if (!fs::exists(path)) {
        report.line("processes      none has begun a ledger yet: the next one takes the rules");
        return;
    }
    const auto ledger = filter::Ledger::read(path);
    const uint64_t version = filter::settings_version(file.text);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(options.timeout_seconds);
    Processes found = look(*ledger, version);
    while (!found.waiting.empty() && std::chrono::steady_clock::now() < end) {
        stop_if_interrupted();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        found = look(*ledger, version);
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
        "\n"
        "Exit status: 0 all have taken them, 1 one refuses them or has not called yet,\n"
        "2 the rules are wrong or cannot be put in place.");
    command->callback([options, &line] {
        line.command = "faults apply";
        line.action = [options](Workbench &bench) { apply(*options, bench.report); };
    });
}
