#include "simhost/faults/settings_in_use.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "filter/ledger/ledger.h"
#include "simhost/faults/rule_file.h"
#include "simhost/report/failure.h"

std::string settings_in_use(const std::string &file) {
    if (!file.empty())
        return std::filesystem::absolute(file).string();
    const char *path = std::getenv("STSPI_FILTER");
    return path != nullptr && *path != '\0' ? path : "/etc/quillmere/filter.conf";
}

std::string ledger_in_use(const std::string &path) {
    char begin[8] = {};
    std::ifstream(path, std::ios::binary).read(begin, sizeof begin);
    if (std::string(begin, sizeof begin) == filter::ledger_magic)
        return path;
    if (const char *ledger = std::getenv("STSPI_FILTER_LEDGER"))
        return ledger;
    // The rules may be wrong by now, or gone: the ledger is still there.
    try {
        const RuleFile file = read_rule_file(path);
        if (!file.settings.sections.front().ledger.empty())
            return file.settings.sections.front().ledger;
    } catch (const UsageError &) {
    }
    return filter::default_ledger_path(path);
}
