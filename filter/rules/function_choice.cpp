#include "filter/rules/function_choice.h"

#include "filter/rules/function_traits.h"
#include "filter/rules/pattern.h"

namespace filter {

namespace {

std::vector<std::string> known_functions(const std::string &pattern) {
    std::vector<std::string> names;
    names.reserve(function_count);
    for (unsigned function = 0; function < function_count; ++function)
        names.push_back(pattern.substr(0, 6) == "stspi_" ? function_names[function] : short_name(function));
    return names;
}

}  // namespace

FunctionChoice::FunctionChoice(WordReader &words) : m_word(words.take("the name of an entry point")) {
    std::string rest = m_word.text;
    while (!rest.empty()) {
        const size_t comma = rest.find(',');
        const std::string pattern = rest.substr(0, comma);
        rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
        std::bitset<function_count> found;
        for (unsigned function = 0; function < function_count; ++function)
            found[function] = matches(pattern, function_names[function]) || matches(pattern, short_name(function));
        if (found.none())
            throw Mistake(
                m_word, in_quotes(pattern) + (has_wildcard(pattern) ? " matches no entry point" : " is no entry point"),
                did_you_mean(pattern, known_functions(pattern)));
        m_functions |= found;
        if (!has_wildcard(pattern))
            m_named |= found;
    }
    if (m_functions.none())
        throw Mistake(m_word, "the name of an entry point is missing", "");
}

void FunctionChoice::keep(const Word &word, const std::function<bool(unsigned)> &fits, const std::string &otherwise) {
    for (unsigned function = 0; function < function_count; ++function) {
        if (!m_functions[function] || fits(function))
            continue;
        if (m_named[function])
            throw Mistake(word, std::string(function_names[function]) + " " + otherwise, "");
        m_functions.reset(function);
    }
    if (m_functions.none())
        throw Mistake(word, "none of " + in_quotes(m_word.text) + " is left: each one " + otherwise, "");
}

void FunctionChoice::keep_subject(const Word &word, uint32_t subject, const std::string &otherwise) {
    keep(
        word, [&](unsigned function) { return (traits(function).subjects & subject) != 0; }, otherwise);
}

void FunctionChoice::keep_ability(const Word &word, uint32_t ability, const std::string &otherwise) {
    keep(
        word, [&](unsigned function) { return (traits(function).abilities & ability) != 0; }, otherwise);
}

}  // namespace filter
