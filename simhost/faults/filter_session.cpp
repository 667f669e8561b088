#include "simhost/faults/filter_session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "base/escaped_text.h"
#include "filter/ledger/ledger.h"
#include "simhost/faults/journal_mark.h"
#include "simhost/faults/rule_counts.h"
#include "simhost/faults/rule_file.h"

namespace fs = std::filesystem;

namespace {

bool is_used(const std::string &path) {
    const auto ledger = filter::Ledger::read(path);
    for (const filter::ProcessSlot &slot : ledger->layout().processes)
        if (filter::is_alive(slot))
            return true;
    return false;
}

void demand_unused(const std::string &path) {
    bool used = false;
    try {
        used = is_used(path);
    } catch (const std::runtime_error &failure) {
        throw UsageError(failure.what());
    }
    if (used)
        throw UsageError(
            fmt::format("processes that run now count in {}: copy the rules to a file of their own", printable(path)));
}

// A plug-in's path as the loader takes it from any directory; a bare name is the loader's to find.
std::string loadable(const std::string &path) {
    std::error_code failure;
    return fs::exists(path, failure) ? fs::absolute(path).string() : path;
}

}  // namespace

FilterSession::FilterSession(const FilterOptions &options, const std::string &plugin, const std::string &default_plugin)
    : m_options(options), m_plugin(plugin) {
    std::string rules_path = "/dev/null";
    if (!options.faults.empty()) {
        const RuleFile file = read_rule_file(options.faults);
        demand_no_mistakes(file);
        rules_path = fs::absolute(options.faults).string();
        if (m_plugin.empty())
            m_plugin = file.settings.sections.front().plugin;
        begin_ledgers(file.settings, rules_path);
    }
    if (m_plugin.empty())
        m_plugin = default_plugin;
    m_plugin = loadable(m_plugin);
    setenv("STSPI_FILTER", rules_path.c_str(), 1);
    setenv("STSPI_FILTER_PLUGIN", m_plugin.c_str(), 1);
    if (!options.record.empty())
        begin_journal();
}

// Counts begin anew with every command, so that the same command has the same troubles. The first section's ledger is
// the command's own, whatever the rules say.
void FilterSession::begin_ledgers(const filter::Settings &settings, const std::string &rules_path) {
    setenv("STSPI_FILTER_LEDGER", filter::default_ledger_path(rules_path).c_str(), 0);
    m_ledgers = section_ledgers(settings, rules_path);
    for (const SectionLedger &ledger : m_ledgers)
        if (fs::exists(ledger.path))
            demand_unused(ledger.path);
    for (const SectionLedger &ledger : m_ledgers)
        unlink(ledger.path.c_str());
}

void FilterSession::begin_journal() const {
    const std::string path = fs::absolute(m_options.record).string();
    if (fs::exists(path)) {
        if (!is_marked_as_journal(path))
            throw UsageError(
                fmt::format("{} is there, and no journal: it is left as it is", printable(m_options.record)));
        unlink(path.c_str());
    }
    setenv("STSPI_FILTER_JOURNAL", path.c_str(), 1);
}

void FilterSession::tell(Report &report) const {
    if (m_ledgers.empty())
        return;
    RuleCountReport counts(report);
    for (const SectionLedger &section : m_ledgers) {
        if (section.number > 0)
            report.line("ledger         {}", printable(section.path));
        counts.add(section, read_ledger(section).get());
    }
    if (m_options.expect_all)
        counts.demand_all_fired();
}
