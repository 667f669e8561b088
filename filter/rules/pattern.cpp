#include "filter/rules/pattern.h"

namespace filter {

namespace {

// Takes one element of the pattern, at least one byte long, and tells whether it is the byte.
bool take_element(std::string_view pattern, size_t &at, char byte) {
    const char first = pattern[at++];
    if (first == '?')
        return true;
    if (first == '\\' && at < pattern.size())
        return pattern[at++] == byte;
    if (first != '[')
        return first == byte;
    size_t next = at;
    const bool negated = next < pattern.size() && pattern[next] == '!';
    next += negated;
    bool found = false;
    for (const size_t begin = next; next < pattern.size(); ++next) {
        if (pattern[next] == ']' && next > begin) {
            at = next + 1;
            return found != negated;
        }
        const auto low = static_cast<unsigned char>(pattern[next]);
        auto high = low;
        if (next + 2 < pattern.size() && pattern[next + 1] == '-' && pattern[next + 2] != ']') {
            high = static_cast<unsigned char>(pattern[next + 2]);
            next += 2;
        }
        const auto value = static_cast<unsigned char>(byte);
        found = found || (low <= value && value <= high);
    }
    return byte == '[';
}

}  // namespace

bool matches(std::string_view pattern, std::string_view text) {
    size_t at = 0;
    size_t read = 0;
    // The latest '*' and the text that it has taken: to fall back on, one byte more each time.
    size_t star = std::string_view::npos;
    size_t taken = 0;
    while (read < text.size()) {
        if (at < pattern.size() && pattern[at] == '*') {
            star = ++at;
            taken = read;
            continue;
        }
        if (at < pattern.size() && take_element(pattern, at, text[read])) {
            ++read;
            continue;
        }
        if (star == std::string_view::npos)
            return false;
        at = star;
        read = ++taken;
    }
    while (at < pattern.size() && pattern[at] == '*')
        ++at;
    return at == pattern.size();
}

std::string_view literal_head(std::string_view pattern) { return pattern.substr(0, pattern.find_first_of("*?[\\")); }

bool has_wildcard(std::string_view pattern) { return literal_head(pattern).size() < pattern.size(); }

}  // namespace filter
