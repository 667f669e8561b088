// Reads one rule.
#pragma once

#include "filter/rules/rule.h"
#include "filter/rules/word_reader.h"

namespace filter {

// The words behind "on". Throws Mistake.
Rule read_rule(WordReader &words, size_t line);

}  // namespace filter
