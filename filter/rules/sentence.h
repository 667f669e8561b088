// Rules in words.
#pragma once

#include <string>

#include "filter/rules/rule.h"

namespace filter {

// The effect as it would be written: "answer STS_E_SYSTEM", "delay 5ms..50ms".
std::string effect_words(const Effect &effect);

// The rule as one English sentence.
std::string rule_sentence(const Rule &rule);

}  // namespace filter
