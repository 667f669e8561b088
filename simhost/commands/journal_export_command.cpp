// simhost journal export: a journal for other programs' eyes.
#include "simhost/commands/journal_file.h"
#include "simhost/journal/chrome_trace.h"
#include "simhost/journal/timeline_page.h"

namespace {

struct JournalExportOptions {
    std::string file;
    std::string format;
};

void export_journal(const JournalExportOptions &options, Report &report) {
    journal::Reader reader = open_journal(options.file);
    journal::Events events(reader);
    if (options.format == "html")
        report.raw(timeline_page(events, options.file));
    else
        write_chrome_trace(events, [&report](const std::string &piece) { report.raw(piece); });
    warn_of_damage(reader, options.file, report);
}

}  // namespace

void add_journal_export_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<JournalExportOptions>();
    CLI::App *command = add_command(app, "export", "Write a journal as a trace or as a page");
    command->add_option("FILE", options->file, "Journal to read")->required();
    command
        ->add_option("--format", options->format,
                     "As what: chrome (a trace for the viewers of Chrome and Perfetto) or html (a page of its own with "
                     "the time line of each thread)")
        ->type_name("FORMAT")
        ->required()
        ->check(CLI::IsMember({"chrome", "html"}));
    command->footer(
        "What is exported goes to standard output.\n"
        "\n"
        "Exit status: 0 exported, 2 the file is no journal or cannot be read.");
    command->callback([options, &line] {
        line.command = "journal export";
        line.action = [options](Workbench &bench) { export_journal(*options, bench.report); };
    });
}
