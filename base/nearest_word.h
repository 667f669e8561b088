// "Did you mean": the word of a list that a mistyped one is nearest to.
#pragma once

#include <string>
#include <vector>

// The nearest word, letter case aside, or "" when none is near: at most a third of its letters may be missing, added,
// changed, or changed places with their neighbours.
std::string nearest_word(const std::string &typed, const std::vector<std::string> &words);

std::string in_upper_case(const std::string &text);
