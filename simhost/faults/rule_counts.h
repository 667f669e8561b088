// What became of each rule, out of a ledger.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "filter/ledger/ledger.h"
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

// A table for people, and the member "faults" of the answer for programs. Returns how many rules never fired.
size_t tell_rule_counts(const filter::Ledger &ledger, Report &report);
