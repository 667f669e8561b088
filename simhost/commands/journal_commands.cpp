#include "simhost/commands/journal_commands.h"

#include <fmt/format.h>

journal::Reader open_journal(const std::string &path) {
    try {
        return journal::Reader(path);
    } catch (const journal::ReadError &error) {
        throw UsageError(error.what());
    }
}

void warn_of_damage(const journal::Reader &reader, const std::string &path, Report &report) {
    const journal::Damage &damage = reader.damage();
    if (damage.torn != 0)
        report.warn(fmt::format("{}: {} {} not finished, the first at byte {}", path, damage.torn,
                                damage.torn == 1 ? "record was" : "records were", damage.first_place));
    if (damage.skipped_bytes != 0)
        report.warn(fmt::format("{}: {} bytes hold no record", path, damage.skipped_bytes));
    if (damage.truncated)
        report.warn(fmt::format("{}: the file is shorter than the journal was", path));
    if (reader.facts().lost != 0)
        report.warn(fmt::format("{}: {} records found no room", path, reader.facts().lost));
}

void add_journal_commands(CLI::App &app, CommandLine &line) {
    CLI::App *journal = add_command(app, "journal", "Read the journal of a plug-in's calls");
    journal->require_subcommand(1);
    add_journal_show_command(*journal, line);
    add_journal_stats_command(*journal, line);
    add_journal_export_command(*journal, line);
    add_journal_diff_command(*journal, line);
}
