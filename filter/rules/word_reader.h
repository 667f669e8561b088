// The words of a line, one after the other, and what is wrong with one.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "filter/rules/words.h"

namespace filter {

struct Mistake : std::runtime_error {
    Mistake(Word place, const std::string &text, std::string what_to_do)
        : std::runtime_error(text), word(std::move(place)), help(std::move(what_to_do)) {}
    Word word;
    std::string help;
};

class WordReader {
public:
    explicit WordReader(std::vector<Word> words) : m_words(std::move(words)) {}

    bool at_end() const { return m_next == m_words.size(); }
    // The next word if it is this one, which is then taken.
    bool take_if(const char *word);
    // The next word, left where it is; an empty one at the end.
    const Word &peek(size_t ahead = 0) const;
    // Throws Mistake, which tells what is missing, at the end.
    Word take(const char *what);
    // Throws Mistake for a word that is left over.
    void demand_end() const;
    const std::vector<Word> &all() const { return m_words; }

private:
    std::vector<Word> m_words;
    size_t m_next = 0;
};

// The text in double quotes, escaped where it is not printable.
std::string in_quotes(const std::string &text);

// "did you mean ...?", or "" when no word is near.
std::string did_you_mean(const std::string &typed, const std::vector<std::string> &words);

}  // namespace filter
