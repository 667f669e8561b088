#include "filter/rules/value_words.h"

#include <charconv>

#include "filter/rules/quantity.h"
#include "filter/rules/status.h"

namespace filter {

uint64_t take_positive(WordReader &words) {
    const Word word = words.take("a number");
    const auto number = parse_number(word.text);
    if (!number || *number == 0)
        throw Mistake(word, in_quotes(word.text) + " is no positive number", "");
    return *number;
}

uint64_t size_in(const Word &word, const std::string &text) {
    const auto value = parse_size(text);
    if (!value)
        throw Mistake(word, in_quotes(text) + " is no size", "write 4096, 64K or 1.5G");
    return *value;
}

uint64_t duration_in(const Word &word, const std::string &text) {
    const auto value = parse_duration(text);
    if (!value || *value > UINT64_MAX / 4)
        throw Mistake(word, in_quotes(text) + " is no time", "write 5ms, 2s or 1.5m");
    return *value;
}

uint64_t take_duration(WordReader &words) {
    const Word word = words.take("a time");
    return duration_in(word, word.text);
}

std::string take_path(WordReader &words) {
    const Word word = words.take("a path");
    if (word.text.empty() || word.text.front() != '/')
        throw Mistake(word, "the path " + in_quotes(word.text) + " is not absolute", "");
    return word.text;
}

int32_t status_in(const Word &word, const std::vector<std::string> &more) {
    if (const auto number = parse_status(word.text))
        return *number;
    std::vector<std::string> known = status_names();
    known.insert(known.end(), more.begin(), more.end());
    throw Mistake(word, in_quotes(word.text) + " is no status", did_you_mean(word.text, known));
}

double share_in(const Word &word) {
    const std::string number = word.text.substr(0, word.text.size() - 1);
    double percent = 0;
    const char *end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, percent, std::chars_format::fixed);
    if (number.empty() || error != std::errc() || stop != end || !(percent >= 0 && percent <= 100))
        throw Mistake(word, in_quotes(word.text) + " is no share of calls", "write 0% to 100%, such as 2% or 0.5%");
    return percent / 100;
}

Interval take_comparison(WordReader &words) {
    Word word = words.take("a comparison, such as > 10G,");
    size_t sign = word.text.find_first_not_of("<>=");
    const std::string operation = word.text.substr(0, sign);
    if (sign == std::string::npos) {
        word = words.take("a size");
        sign = 0;
    }
    const std::string number = word.text.substr(sign);
    const size_t dots = number.find("..");
    if (operation.empty() && dots != std::string::npos) {
        const uint64_t low = size_in(word, number.substr(0, dots));
        const uint64_t high = dots + 2 == number.size() ? UINT64_MAX : size_in(word, number.substr(dots + 2));
        if (low > high)
            throw Mistake(word, in_quotes(number) + " holds no number", "");
        return {low, high};
    }
    const uint64_t value = size_in(word, number);
    if (operation.empty() || operation == "=" || operation == "==")
        return {value, value};
    if (operation == ">=")
        return {value, UINT64_MAX};
    if (operation == "<=")
        return {0, value};
    if (operation == ">" && value != UINT64_MAX)
        return {value + 1, UINT64_MAX};
    if (operation == "<" && value != 0)
        return {0, value - 1};
    throw Mistake(word, in_quotes(operation + " " + number) + " holds no number", "");
}

}  // namespace filter
