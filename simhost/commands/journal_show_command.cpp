// simhost journal show: every record of a journal.
#include "simhost/commands/journal_file.h"
#include "simhost/journal/call_text.h"
#include "simhost/journal/event_json.h"

namespace {

struct JournalShowOptions {
    std::string file;
    std::string format = "json";
};

void show_json(journal::Reader &reader, Report &report) {
    journal::Events events(reader);
    uint64_t records = 0;
    report.raw(json_line(header_json(reader.facts())) + "\n");
    for (journal::Event event; events.next(event); ++records)
        report.raw(json_line(event_json(event, events)) + "\n");
    report.raw(json_line(ending_json(reader, events, records)) + "\n");
}

void show_text(journal::Reader &reader, Report &report) {
    journal::Events events(reader);
    CallText text;
    for (journal::Event event; events.next(event);)
        report.raw(text.line(event, events));
    for (const std::string &line : text.running_lines(events))
        report.raw(line + "\n");
}

void show_journal(const JournalShowOptions &options, Report &report) {
    journal::Reader reader = open_journal(options.file);
    if (options.format == "text")
        show_text(reader, report);
    else
        show_json(reader, report);
    warn_of_damage(reader, options.file, report);
}

}  // namespace

void add_journal_show_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<JournalShowOptions>();
    CLI::App *command = add_command(app, "show", "Show every record of a journal");
    command->add_option("FILE", options->file, "Journal to read")->required();
    command->add_option("--format", options->format, "How: json (lines, the default) or text (a line for each call)")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"json", "text"}));
    command->footer(
        "A journal can be read while it is written, and after its writer was killed.\n"
        "\n"
        "Exit status: 0 shown, 2 the file is no journal or cannot be read.");
    command->callback([options, &line] {
        line.command = "journal show";
        line.action = [options](Workbench &bench) { show_journal(*options, bench.report); };
    });
}
