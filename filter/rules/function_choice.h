// Which functions a rule is for: those that are named or matched, but for those where the rest of the rule makes no sense.
#pragma once

#include <bitset>
#include <cstdint>
#include <functional>
#include <string>

#include "filter/rules/function_number.h"
#include "filter/rules/word_reader.h"

namespace filter {

class FunctionChoice {
public:
    // Takes the word that names or matches them. Throws Mistake where there is none of that name.
    explicit FunctionChoice(WordReader &words);

    const Word &word() const { return m_word; }
    const std::bitset<function_count> &functions() const { return m_functions; }
    bool has(unsigned function) const { return m_functions[function]; }

    // Leaves only functions of which this is true. A function that was named, and not merely matched, must stay. Throws
    // Mistake at the word when one may not, or none is left; otherwise: what is the matter with it, "moves no data".
    void keep(const Word &word, const std::function<bool(unsigned)> &fits, const std::string &otherwise);
    void keep_subject(const Word &word, uint32_t subject, const std::string &otherwise);
    void keep_ability(const Word &word, uint32_t ability, const std::string &otherwise);

private:
    Word m_word;
    std::bitset<function_count> m_functions;
    std::bitset<function_count> m_named;
};

}  // namespace filter
