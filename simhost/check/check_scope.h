// Which findings are wanted.
#pragma once

#include <string>
#include <vector>

#include "simhost/check/checked_file.h"

struct CheckScope {
    std::vector<Rule> selected;  // these only; all when there are none
    std::vector<Rule> ignored;   // and none of these
};

// The rules of some names. Throws UsageError for a name that no rule has.
std::vector<Rule> rules_of(const std::vector<std::string> &ids);
// Throws UsageError, with the nearest known one, when no rule has the name.
Rule demand_rule(const std::string &id);

// Takes the findings away that are not wanted, and counts them.
void narrow(CheckedFile &file, const CheckScope &scope);
