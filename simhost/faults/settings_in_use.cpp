#include "simhost/faults/settings_in_use.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "simhost/faults/rule_file.h"
#include "simhost/report/failure.h"

std::string settings_in_use(const std::string &file) {
    if (!file.empty())
        return std::filesystem::absolute(file).string();
    const char *path = std::getenv("STSPI_FILTER");
    return path != nullptr && *path != '\0' ? path : "/etc/quillmere/filter.conf";
}

std::vector<SectionLedger> section_ledgers(const filter::Settings &settings, const std::string &settings_path) {
    std::vector<SectionLedger> ledgers;
    ledgers.reserve(settings.sections.size());
    for (const filter::Section &section : settings.sections) {
        const char *given = ledgers.empty() ? std::getenv("STSPI_FILTER_LEDGER") : nullptr;
        std::string ledger = given != nullptr ? given : section.ledger;
        if (ledger.empty())
            ledger = filter::default_ledger_path(settings_path, ledgers.size());
        ledgers.push_back({ledgers.size(), std::move(ledger), section.rules});
    }
    return ledgers;
}

std::unique_ptr<filter::Ledger> read_ledger(const SectionLedger &section) {
    if (section.number > 0 && !std::filesystem::exists(section.path))
        return nullptr;
    return filter::Ledger::read(section.path);
}

std::vector<SectionLedger> ledgers_in_use(const std::string &path) {
    char begin[8] = {};
    std::ifstream(path, std::ios::binary).read(begin, sizeof begin);
    if (std::string(begin, sizeof begin) == filter::ledger_magic)
        return {{0, path, {}}};
    // The rules may be wrong by now, or gone: the ledger is still there.
    try {
        return section_ledgers(read_rule_file(path).settings, path);
    } catch (const UsageError &) {
        return section_ledgers(filter::read_settings(""), path);
    }
}
