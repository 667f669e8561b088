#include "simhost/check/check_scope.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "base/nearest_word.h"
#include "simhost/report/failure.h"

namespace {

bool contains(const std::vector<Rule> &rules, Rule rule) {
    return std::find(rules.begin(), rules.end(), rule) != rules.end();
}

}  // namespace

Rule demand_rule(const std::string &id) {
    if (const std::optional<Rule> rule = rule_of(id))
        return *rule;
    std::vector<std::string> ids;
    for (const RuleText &text : rule_texts())
        ids.emplace_back(text.id);
    const std::string nearest = nearest_word(id, ids);
    throw UsageError(fmt::format(
        "no finding is called {}{}", in_quotes(id),
        nearest.empty() ? "; they stand in brackets behind the messages" : fmt::format("; did you mean {}?", nearest)));
}

std::vector<Rule> rules_of(const std::vector<std::string> &ids) {
    std::vector<Rule> rules;
    rules.reserve(ids.size());
    for (const std::string &id : ids)
        rules.push_back(demand_rule(id));
    return rules;
}

void narrow(CheckedFile &file, const CheckScope &scope) {
    const auto is_unwanted = [&](const Finding &finding) {
        return (!scope.selected.empty() && !contains(scope.selected, finding.rule)) ||
               contains(scope.ignored, finding.rule);
    };
    const auto rest = std::remove_if(file.findings.begin(), file.findings.end(), is_unwanted);
    file.ignored += static_cast<size_t>(file.findings.end() - rest);
    file.findings.erase(rest, file.findings.end());
}
