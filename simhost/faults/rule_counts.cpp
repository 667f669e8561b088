#include "simhost/faults/rule_counts.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "filter/rules/settings.h"
#include "simhost/report/text_table.h"

namespace {

std::string clock_text(uint64_t nanoseconds) {
    if (nanoseconds == 0)
        return "";
    const auto seconds = static_cast<time_t>(nanoseconds / 1000000000);
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(seconds), nanoseconds / 1000000 % 1000);
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
        return fmt::format("called {}, but names or numbers never matched",
                           calls == 1 ? "once" : fmt::format("{} times", calls));
    if (rule.each == filter::Each::all && rule.calls.low > count.matched)
        return fmt::format("call {} was not reached", rule.calls.low);
    if (rule.chance && *rule.chance == 0)
        return "a chance of 0% never fires";
    if (rule.chance)
        return "by chance";
    if (!rule.while_file.empty())
        return fmt::format("{} was never there, or an earlier rule answered", printable(rule.while_file));
    if (rule.has_window())
        return "its window was not reached, or an earlier rule answered";
    return "there was nothing to act on, or an earlier rule answered";
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
        count.first_fired = slot.first_fired;
        count.last_fired = slot.last_fired;
        if (count.fired == 0)
            count.why_never = why_never(count, ledger.layout());
        counts.push_back(std::move(count));
    }
    std::sort(counts.begin(), counts.end(), [](const RuleCount &a, const RuleCount &b) { return a.line < b.line; });
    return counts;
}

uint64_t seed_of(const filter::Ledger &ledger) {
    const filter::LedgerLayout &layout = ledger.layout();
    return layout.has_own_seed != 0 ? layout.own_seed : layout.seed;
}

size_t tell_rule_counts(const filter::Ledger &ledger, Report &report) {
    TextTable table({">line", ">matched", ">fired", "first", "last", "rule"});
    size_t never = 0;
    Json rules = Json::array();
    const std::vector<RuleCount> counts = rule_counts(ledger);
    for (const RuleCount &count : counts) {
        const std::string text = printable(count.text);
        table.add({std::to_string(count.line), std::to_string(count.matched), std::to_string(count.fired),
                   clock_text(count.first_fired), clock_text(count.last_fired),
                   count.fired == 0 ? fmt::format("{}   <- NEVER FIRED: {}", text, count.why_never) : text});
        never += count.fired == 0;
        Json rule = {{"line", count.line}, {"rule", count.text}, {"matched", count.matched}, {"fired", count.fired}};
        if (count.fired == 0)
            rule["why_never"] = count.why_never;
        rules.push_back(std::move(rule));
    }
    report.line("faults         seed {}, {} of {} rules fired", seed_of(ledger), counts.size() - never, counts.size());
    if (!counts.empty())
        report.lines(table.lines());
    report.result()["faults"] = {{"seed", seed_of(ledger)}, {"rules", std::move(rules)}};
    return never;
}
