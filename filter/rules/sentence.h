// Rules in words.
#pragma once

#include <string>

#include "filter/rules/rule.h"

namespace filter {

// The rule as one English sentence.
std::string rule_sentence(const Rule &rule);

}  // namespace filter
