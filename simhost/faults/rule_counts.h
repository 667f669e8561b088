// What became of each rule, out of the ledgers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "filter/ledger/ledger.h"
#include "simhost/faults/settings_in_use.h"
#include "simhost/report/report.h"

struct RuleCount {
    uint64_t line = 0;
    std::string text;
    uint64_t matched = 0;
    uint64_t fired = 0;
    uint64_t first_fired = 0;  // nanoseconds since 1970; 0: never
    uint64_t last_fired = 0;
    std::string why_never;  // "" for a rule that has fired
};

// The rules that were taken last, by their lines.
std::vector<RuleCount> rule_counts(const filter::Ledger &ledger);

// The seed in force.
uint64_t seed_of(const filter::Ledger &ledger);

// What became of the rules of all sections: a table of each for people, and the member "faults" of the answer for
// programs.
class RuleCountReport {
public:
    explicit RuleCountReport(Report &report) : m_report(report) {}

    // The next section, with its ledger; null where no filter has begun one. Returns what programs are told of it, to
    // which more may be added at once.
    Json &add(const SectionLedger &section, const filter::Ledger *ledger);

    // Throws BadAnswer when a rule of any section never fired.
    void demand_all_fired() const;

private:
    Report &m_report;
    size_t m_never = 0;
};
