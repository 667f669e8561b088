// The filter in front of the plug-in that a command calls: --faults and --record.
#pragma once

#include <string>
#include <vector>

#include "simhost/faults/settings_in_use.h"
#include "simhost/report/report.h"

struct FilterOptions {
    std::string faults;  // file of rules; empty: none
    std::string record;  // journal to write; empty: none
    bool expect_all = false;

    bool wanted() const { return !faults.empty() || !record.empty(); }
};

class FilterSession {
public:
    // Puts the settings into the environment, where the filter finds them when it is loaded. plugin: the one to wrap;
    // when empty, the one that the rules name, and else default_plugin. Throws UsageError for a file with mistakes, a
    // ledger that other processes use, and a journal that would replace something else.
    FilterSession(const FilterOptions &options, const std::string &plugin, const std::string &default_plugin);

    const std::string &plugin() const { return m_plugin; }

    // Tells what became of the rules. Throws BadAnswer when all were expected to fire and one did not.
    void tell(Report &report) const;

private:
    void begin_ledgers(const filter::Settings &settings, const std::string &rules_path);
    void begin_journal() const;

    FilterOptions m_options;
    std::string m_plugin;
    std::vector<SectionLedger> m_ledgers;
};
