// A file of rules, as a command reads it.
#pragma once

#include <string>

#include "filter/rules/settings.h"

struct RuleFile {
    std::string name;
    std::string text;
    filter::Settings settings;
};

// "-" is standard input. Throws UsageError when it cannot be read.
RuleFile read_rule_file(const std::string &path);

// Each mistake with its place, the line and a caret, ready to print.
std::string mistakes_text(const RuleFile &file);

// Rules that an earlier one always hides, likewise. count receives how many.
std::string hidden_rules_text(const RuleFile &file, size_t &count);

// Throws UsageError, which tells the first mistake, when there is any.
void demand_no_mistakes(const RuleFile &file);
