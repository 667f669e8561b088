#include "simhost/check/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "base/characters.h"
#include "base/escaped_text.h"

namespace {

constexpr size_t longest_quote = 60;

}  // namespace

Finding &Findings::add(Severity severity, Rule rule, const Place &place, std::string text, std::string help,
                       std::vector<Note> notes) {
    m_findings.push_back({rule, severity, place, std::move(text), std::move(help), std::move(notes), {}});
    return m_findings.back();
}

Finding &Findings::error(Rule rule, const Place &place, std::string text, std::string help, std::vector<Note> notes) {
    return add(Severity::error, rule, place, std::move(text), std::move(help), std::move(notes));
}

Finding &Findings::warning(Rule rule, const Place &place, std::string text, std::string help, std::vector<Note> notes) {
    return add(Severity::warning, rule, place, std::move(text), std::move(help), std::move(notes));
}

std::vector<Finding> Findings::sorted() const {
    std::vector<Finding> findings = m_findings;
    std::stable_sort(findings.begin(), findings.end(), [](const Finding &a, const Finding &b) {
        return std::tie(a.place.line, a.place.column) < std::tie(b.place.line, b.place.column);
    });
    return findings;
}

std::string in_apostrophes(const std::string &text) {
    const char quote = text.find('\'') == std::string::npos ? '\'' : '"';
    std::string result(1, quote);
    for (size_t i = 0; i < text.size();) {
        if (i >= longest_quote) {
            result += "...";
            break;
        }
        const Character character = first_character(std::string_view(text).substr(i));
        const std::string bytes = text.substr(i, character.bytes);
        // Backslashes stay as they are: a path of another system is to be recognised.
        result += bytes == "\\" ? bytes : printable(bytes);
        i += character.bytes;
    }
    return result + quote;
}

std::string help_to_write(const std::string &text) {
    return text.size() <= longest_quote && in_apostrophes(text) == "'" + text + "'" ? "write " + text : "";
}

std::string counted(size_t number, const char *thing) {
    return fmt::format("{} {}{}", number, thing, number == 1 ? "" : "s");
}
