#include "simhost/check/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

constexpr size_t longest_quote = 60;

}  // namespace

void Findings::add(Severity severity, Rule rule, const Place &place, std::string text, std::string help,
                   std::vector<Note> notes) {
    m_findings.push_back({rule, severity, place, std::move(text), std::move(help), std::move(notes)});
}

void Findings::error(Rule rule, const Place &place, std::string text, std::string help, std::vector<Note> notes) {
    add(Severity::error, rule, place, std::move(text), std::move(help), std::move(notes));
}

void Findings::warning(Rule rule, const Place &place, std::string text, std::string help, std::vector<Note> notes) {
    add(Severity::warning, rule, place, std::move(text), std::move(help), std::move(notes));
}

std::vector<Finding> Findings::sorted() const {
    std::vector<Finding> findings = m_findings;
    std::stable_sort(findings.begin(), findings.end(), [](const Finding &a, const Finding &b) {
        return std::tie(a.place.line, a.place.column) < std::tie(b.place.line, b.place.column);
    });
    return findings;
}

std::string quoted(const std::string &text) {
    std::string result = "'";
    for (size_t i = 0; i < text.size(); ++i) {
        if (i == longest_quote) {
            result += "...";
            break;
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte >= 0x7f)
            result += fmt::format("\\x{:02x}", byte);
        else
            result += text[i];
    }
    return result + "'";
}

std::string counted(size_t number, const char *thing) {
    return fmt::format("{} {}{}", number, thing, number == 1 ? "" : "s");
}
