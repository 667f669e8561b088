// simhost journal stats: calls, statuses and latencies by entry point.
#include <fmt/format.h>

#include "journal/calls/status_name.h"
#include "simhost/commands/journal_file.h"
#include "simhost/journal/journal_stats.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

struct Share {
    const char *key;
    double share;
};
constexpr Share SHARES[] = {{"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}, {"p99.9", 0.999}, {"max", 1}};

Json stats_json(const JournalStats &stats) {
    Json entry_points = Json::object();
    for (const auto &[name, entry] : stats.entry_points) {
        Json statuses = Json::object();
        for (const auto &[status, count] : entry.statuses)
            statuses[std::to_string(status)] = count;
        Json latency = Json::object();
        for (const Share &share : SHARES)
            latency[share.key] = entry.latencies.at(share.share);
        entry_points[name] = {{"calls", entry.calls},
                              {"running", entry.running},
                              {"faults", entry.faults},
                              {"statuses", statuses},
                              {"latency_ns", latency}};
    }
    return {{"records", stats.records},    {"calls", stats.calls},
            {"messages", stats.messages},  {"processes", stats.processes},
            {"threads", stats.threads},    {"seconds", static_cast<double>(stats.last_ns - stats.first_ns) / 1e9},
            {"entry_points", entry_points}};
}

void tell_latencies(const JournalStats &stats, Report &report) {
    TextTable table({"ENTRY POINT", ">CALLS", ">FAULTS", ">P50", ">P90", ">P99", ">P99.9", ">MAX"});
    for (const auto &[name, entry] : stats.entry_points) {
        std::vector<std::string> row = {name, std::to_string(entry.calls), std::to_string(entry.faults)};
        for (const Share &share : SHARES)
            row.push_back(entry.latencies.nanoseconds.empty()
                              ? "-"
                              : format_duration(static_cast<double>(entry.latencies.at(share.share)) / 1e9));
        table.add(row);
    }
    report.lines(table.lines());
}

void tell_statuses(const JournalStats &stats, Report &report) {
    TextTable table({"ENTRY POINT", ">TIMES", "ANSWER"});
    for (const auto &[name, entry] : stats.entry_points) {
        for (const auto &[status, count] : entry.statuses)
            table.add({name, std::to_string(count), describe_status(status)});
        if (entry.running != 0)
            table.add({name, std::to_string(entry.running), "none: the call was running"});
    }
    report.lines(table.lines());
}

void tell_stats(const std::string &file, Report &report) {
    journal::Reader reader = open_journal(file);
    journal::Events events(reader);
    const JournalStats stats = collect_stats(events);
    report.result() = stats_json(stats);
    report.line("{} in {} of {}, over {}", stats.calls == 1 ? "1 call" : fmt::format("{} calls", stats.calls),
                stats.threads == 1 ? "1 thread" : fmt::format("{} threads", stats.threads),
                stats.processes == 1 ? "1 process" : fmt::format("{} processes", stats.processes),
                format_duration(static_cast<double>(stats.last_ns - stats.first_ns) / 1e9));
    if (!stats.entry_points.empty()) {
        report.line("");
        tell_latencies(stats, report);
        report.line("");
        tell_statuses(stats, report);
    }
    warn_of_damage(reader, file, report);
}

}  // namespace

void add_journal_stats_command(CLI::App &app, CommandLine &line) {
    auto file = std::make_shared<std::string>();
    CLI::App *command = add_command(app, "stats", "Count calls and answers, and tell latencies");
    command->add_option("FILE", *file, "Journal to read")->required();
    add_json_option(*command, line.output);
    command->footer(
        "A latency pN is the shortest time that N of 100 calls did not exceed, exactly.\n"
        "\n"
        "Exit status: 0 told, 2 the file is no journal or cannot be read.");
    command->callback([file, &line] {
        line.command = "journal stats";
        line.action = [file](Workbench &bench) { tell_stats(*file, bench.report); };
    });
}
