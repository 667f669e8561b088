#include "simhost/faults/rule_counts.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "filter/ledger/wall_clock.h"
#include "filter/rules/settings.h"
#include "simhost/faults/moment_text.h"
#include "simhost/report/failure.h"
#include "simhost/report/text_table.h"

namespace {

// A rule that asks for a status counts a call only when that comes back from the plug-in.
std::string what_never_matched(const filter::Rule &rule) {
    const bool is_selective =
        rule.offset || rule.length ||
        std::any_of(rule.names.begin(), rule.names.end(), [](const auto &name) { return name.has_value(); });
    if (rule.returned == filter::Returned::anything)
        return "names or numbers never matched";
    return is_selective ? "names, numbers or status never matched, or another rule answered"
                        : "that status never came back, or another rule answered";
}

std::string why_never(const RuleCount &count, const filter::LedgerLayout &layout) {
    const filter::Settings settings = filter::read_settings(count.text);
    const auto &rules = settings.sections.front().rules;
    if (rules.size() != 1)
        return count.matched == 0 ? "never matched" : "its window was never open";
    const filter::Rule &rule = rules.front();
    uint64_t calls = 0;
    for (unsigned function = 0; function < filter::function_count; ++function)
        if (rule.functions[function])
            calls += layout.calls[function];
    if (calls == 0)
        return "never called";
    if (count.matched == 0)
        return fmt::format("called {}, but {}", calls == 1 ? "once" : fmt::format("{} times", calls),
                           what_never_matched(rule));
    if (rule.each == filter::Each::all && rule.calls.low > count.matched)
        return fmt::format("call {} was not reached", rule.calls.low);
    if (rule.chance && *rule.chance == 0)
        return "a chance of 0% never fires";
    if (rule.chance)
        return "by chance";
    if (!rule.while_file.empty())
        return fmt::format("{} was never there, or another rule answered", printable(rule.while_file));
    if (rule.has_window())
        return "its window was not reached, or another rule answered";
    return "there was nothing to act on, or another rule answered";
}

// Of rules that no filter has taken.
std::vector<RuleCount> counts_of_none(const std::vector<filter::Rule> &rules) {
    std::vector<RuleCount> counts(rules.size());
    for (size_t i = 0; i < rules.size(); ++i) {
        counts[i].line = rules[i].line;
        counts[i].text = rules[i].text;
        counts[i].why_never = "no filter has taken it";
    }
    return counts;
}

Json count_json(const RuleCount &count) {
    Json rule = {{"line", count.line}, {"rule", count.text}, {"matched", count.matched}, {"fired", count.fired}};
    if (count.fired == 0) {
        rule["why_never"] = count.why_never;
    } else {
        rule["first_fired"] = utc_moment_text(count.first_fired);
        rule["last_fired"] = utc_moment_text(count.last_fired);
    }
    return rule;
}

}  // namespace

std::vector<RuleCount> rule_counts(const filter::Ledger &ledger) {
    std::vector<RuleCount> counts;
    for (const filter::RuleSlot &slot : ledger.layout().rules) {
        if (slot.key == 0 || slot.version != ledger.layout().version)
            continue;
        RuleCount count;
        count.line = slot.line;
        count.text = std::string(slot.text, strnlen(slot.text, sizeof slot.text));
        count.matched = slot.matched;
        count.fired = slot.fired;
        // Noted before the rule acts, and left there when it found nothing to act on.
        if (count.fired > 0) {
            count.first_fired = slot.first_fired;
            count.last_fired = slot.last_fired;
        } else {
            count.why_never = why_never(count, ledger.layout());
        }
        counts.push_back(std::move(count));
    }
    std::sort(counts.begin(), counts.end(), [](const RuleCount &a, const RuleCount &b) { return a.line < b.line; });
    return counts;
}

uint64_t seed_of(const filter::Ledger &ledger) {
    const filter::LedgerLayout &layout = ledger.layout();
    return layout.has_own_seed != 0 ? layout.own_seed : layout.seed;
}

Json &RuleCountReport::add(const SectionLedger &section, const filter::Ledger *ledger) {
    TextTable table({">line", ">matched", ">fired", "first", "last", "rule"});
    size_t never = 0;
    Json rules = Json::array();
    const std::vector<RuleCount> counts = ledger != nullptr ? rule_counts(*ledger) : counts_of_none(section.rules);
    const uint64_t now = filter::wall_clock_ns();
    for (const RuleCount &count : counts) {
        const std::string text = printable(count.text);
        table.add({std::to_string(count.line), std::to_string(count.matched), std::to_string(count.fired),
                   moment_text(count.first_fired, now), moment_text(count.last_fired, now),
                   count.fired == 0 ? fmt::format("{}   <- NEVER FIRED: {}", text, count.why_never) : text});
        never += count.fired == 0;
        rules.push_back(count_json(count));
    }
    m_never += never;
    const std::string seed = ledger != nullptr ? fmt::format("seed {}", seed_of(*ledger)) : "not taken by any filter";
    m_report.line("faults         {}, {} of {} rules fired", seed, counts.size() - never, counts.size());
    if (!counts.empty())
        m_report.lines(table.lines());
    Json told = Json::object();
    if (section.number > 0)
        told["ledger"] = section.path;
    if (ledger != nullptr)
        told["seed"] = seed_of(*ledger);
    told["rules"] = std::move(rules);
    Json &faults = m_report.result()["faults"];
    Json &place = section.number == 0 ? faults : faults["further_sections"].emplace_back();
    return place = std::move(told);
}

void RuleCountReport::demand_all_fired() const {
    if (m_never > 0)
        throw BadAnswer(m_never == 1 ? "a rule never fired" : fmt::format("{} rules never fired", m_never));
}
