// The last words of a rule: what happens.
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

}  // namespace filter
