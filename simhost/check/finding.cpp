#include "simhost/check/finding.h"

#include <algorithm>

namespace {

std::string id_of(std::string name) {
    std::replace(name.begin(), name.end(), '_', '-');
    return name;
}

}  // namespace

const std::vector<RuleText> &rule_texts() {
    static const std::vector<RuleText> texts = {
#define FINDING(name, summary) {id_of(#name), summary},
        FINDINGS(FINDING)
#undef FINDING
    };
    return texts;
}

const char *rule_id(Rule rule) { return rule_texts()[static_cast<size_t>(rule)].id.c_str(); }

std::optional<Rule> rule_of(const std::string &id) {
    const std::vector<RuleText> &texts = rule_texts();
    for (size_t i = 0; i < texts.size(); ++i)
        if (id == texts[i].id)
            return static_cast<Rule>(i);
    return std::nullopt;
}

const char *severity_word(Severity severity) { return severity == Severity::error ? "error" : "warning"; }

size_t count(const std::vector<Finding> &findings, Severity severity) {
    return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                             [=](const Finding &finding) { return finding.severity == severity; }));
}
