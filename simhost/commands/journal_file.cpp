#include "simhost/commands/journal_file.h"

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
