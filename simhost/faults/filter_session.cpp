#include "simhost/faults/filter_session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "base/escaped_text.h"
#include "filter/ledger/ledger.h"
#include "simhost/faults/rule_counts.h"
#include "simhost/faults/rule_file.h"

namespace fs = std::filesystem;

namespace {

constexpr char journal_magic[] = "STSPIJNL";

bool is_used(const std::string &path) {
    const auto ledger = filter::Ledger::read(path);
    for (const filter::ProcessSlot &slot : ledger->layout().processes)
        if (filter::is_alive(slot))
            return true;
    return false;
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
        begin_ledger(rules_path);
    }
    if (m_plugin.empty())
        m_plugin = default_plugin;
    m_plugin = loadable(m_plugin);
    setenv("STSPI_FILTER", rules_path.c_str(), 1);
    setenv("STSPI_FILTER_PLUGIN", m_plugin.c_str(), 1);
    if (!options.record.empty())
        begin_journal();
}

// Counts begin anew with every command, so that the same command has the same troubles.
void FilterSession::begin_ledger(const std::string &rules_path) {
    const char *given = std::getenv("STSPI_FILTER_LEDGER");
    m_ledger = given != nullptr ? given : filter::default_ledger_path(rules_path);
    if (fs::exists(m_ledger)) {
        bool used = false;
        try {
            used = is_used(m_ledger);
        } catch (const std::runtime_error &failure) {
            throw UsageError(failure.what());
        }
        if (used)
            throw UsageError(fmt::format("processes that run now count in {}: copy the rules to a file of their own",
                                         printable(m_ledger)));
        unlink(m_ledger.c_str());
    }
    setenv("STSPI_FILTER_LEDGER", m_ledger.c_str(), 1);
}

void FilterSession::begin_journal() const {
    const std::string path = fs::absolute(m_options.record).string();
    if (fs::exists(path)) {
        char begin[8] = {};
        std::ifstream(path, std::ios::binary).read(begin, sizeof begin);
        if (std::memcmp(begin, journal_magic, sizeof begin) != 0)
            throw UsageError(
                fmt::format("{} is there, and no journal: it is left as it is", printable(m_options.record)));
        unlink(path.c_str());
    }
    setenv("STSPI_FILTER_JOURNAL", path.c_str(), 1);
}

void FilterSession::tell(Report &report) const {
    if (m_ledger.empty())
        return;
    const size_t never = tell_rule_counts(*filter::Ledger::read(m_ledger), report);
    if (m_options.expect_all && never > 0)
        throw BadAnswer(never == 1 ? "a rule never fired" : fmt::format("{} rules never fired", never));
}
