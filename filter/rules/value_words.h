// Words that are values. Each of these functions throws Mistake, at the word, for one that is none.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "filter/rules/rule.h"
#include "filter/rules/word_reader.h"

namespace filter {

// text: the part of the word that is the value.
uint64_t size_in(const Word &word, const std::string &text);
// Nanoseconds.
uint64_t duration_in(const Word &word, const std::string &text);
// more: words that could have stood there instead of a status, for the help.
int32_t status_in(const Word &word, const std::vector<std::string> &more);
// "2%" as 0.02.
double share_in(const Word &word);

// The next word, or words.
uint64_t take_positive(WordReader &words);
uint64_t take_duration(WordReader &words);
std::string take_path(WordReader &words);
// "> 10G", "5..7", "= 3".
Interval take_comparison(WordReader &words);

}  // namespace filter
