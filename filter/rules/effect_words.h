// The last words of a rule, what happens: read, written again, and told in English.
#pragma once

#include <string>
#include <vector>

#include "filter/rules/function_choice.h"
#include "filter/rules/rule.h"
#include "filter/rules/word_reader.h"

namespace filter {

// Leaves the functions where the effect has a meaning. place: before or after the call, as the rule says so far.
// selector_words: what could have stood there instead, for the help. Throws Mistake.
Effect read_effect(WordReader &words, FunctionChoice &functions, Place place,
                   const std::vector<std::string> &selector_words);

// The effect as it would be written: "answer STS_E_SYSTEM", "delay 5ms..50ms".
std::string effect_words(const Effect &effect);

// The end of a sentence about a call: "is made and then answered with STS_E_SYSTEM (2060001)".
std::string effect_sentence(const Rule &rule);

}  // namespace filter
