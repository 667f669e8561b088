// A line of the settings file as words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace filter {

struct Word {
    std::string text;  // without quotes
    bool quoted = false;
    size_t column = 0;  // from 1
    size_t length = 0;  // as written
};

struct LineWords {
    std::vector<Word> words;
    std::string mistake;  // a quote that is not closed; "" when there is none
    size_t column = 0;    // of the mistake
};

// Words are separated by blanks; '#' at the beginning of a word starts a comment. In double quotes blanks and '#' are
// text, and '\' takes a '"' or '\' behind it as it is.
LineWords split_words(std::string_view line);

}  // namespace filter
