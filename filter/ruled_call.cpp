#include "filter/ruled_call.h"

#include <algorithm>

#include "filter/ledger/wall_clock.h"
#include "filter/rules/effect_words.h"
#include "filter/rules/function_traits.h"

namespace filter {

void RuledCall::note_fired(ActiveRule &active) const {
    const uint64_t now = wall_clock_ns();
    uint64_t never = 0;
    active.slot->first_fired.compare_exchange_strong(never, now, std::memory_order_relaxed);
    active.slot->last_fired.store(now, std::memory_order_relaxed);
    active.slot->fired.fetch_add(1, std::memory_order_relaxed);
    if (m_journal != nullptr)
        m_journal->fault(m_number, journal_number(m_view.function()), static_cast<uint32_t>(active.rule->line),
                         effect_words(active.rule->effect));
}

// For rules that ask how much their calls have moved, whether or not that is within their limits by now.
void RuledCall::count_moved() {
    const unsigned function = m_view.function();
    if (m_status != 0 || !m_rules.counts_bytes(function))
        return;
    const uint64_t *count = m_view.count();
    const uint64_t moved = count != nullptr ? *count : m_view.length();
    for (ActiveRule *active : m_rules.rules_for(function))
        if (active->rule->bytes && RuleSet::names_match(*active, m_view))
            active->slot->bytes.fetch_add(moved, std::memory_order_relaxed);
}

void RuledCall::act_before() {
    const unsigned function = m_view.function();
    if (m_rules.concerns(function))
        m_ledger->layout().calls[function].fetch_add(1, std::memory_order_relaxed);
    for (ActiveRule *active : m_rules.rules_for(function)) {
        uint64_t draw = 0;
        if (!RuleSet::matches(*active, m_view) || RuleSet::asks_result(*active->rule, function) ||
            !m_rules.fires(*active, m_view, draw))
            continue;
        const bool is_after = acts_after(*active->rule, function);
        (is_after ? m_after : m_before).push_back({active, draw});
    }
    for (const Firing &firing : m_before) {
        bool acted = false;
        // Noted first: a kill leaves no later.
        note_fired(*firing.active);
        m_answered = m_effects.before(firing, m_status, acted);
        if (!acted)
            firing.active->slot->fired.fetch_sub(1, std::memory_order_relaxed);
        if (m_answered)
            return;
    }
    for (const Firing &firing : m_after)
        m_effects.prepare_after(firing);
}

bool RuledCall::has_more_to_do() const {
    const unsigned function = m_view.function();
    return m_rules.asks_result(function) || m_rules.counts_bytes(function) || !m_before.empty() || !m_after.empty();
}

void RuledCall::came_back(int32_t status, const std::function<int32_t()> &next) {
    m_status = status;
    m_view.note_after(status);
    count_moved();
    act_after(next);
}

bool RuledCall::is_for_result(const ActiveRule &active, const ListEntries &entries) {
    const unsigned function = m_view.function();
    return RuleSet::matches(active, m_view) && RuleSet::asks_result(*active.rule, function) &&
           RuleSet::matches_result(active, m_status, function,
                                   gives_list_entries(function) ? entries.entry() : std::string_view());
}

bool RuledCall::act(const Firing &firing, ListEntries &entries) {
    note_fired(*firing.active);
    const bool acted = m_effects.after(firing, m_status, entries);
    if (!acted)
        firing.active->slot->fired.fetch_sub(1, std::memory_order_relaxed);
    return acted;
}

void RuledCall::act_after(const std::function<int32_t()> &next) {
    ListEntries entries(m_view, next);
    std::vector<const ActiveRule *> judged;  // which of those that omit have judged the entry that is given now
    bool omitted = false;
    size_t noted = 0;
    for (ActiveRule *active : m_rules.rules_for(m_view.function())) {
        Firing firing = {active, 0};
        if (noted < m_after.size() && m_after[noted].active == active) {
            firing = m_after[noted++];
        } else {
            if (active->rule->effect.kind == EffectKind::omit)
                judged.push_back(active);
            if (!is_for_result(*active, entries) || !m_rules.fires(*active, m_view, firing.draw))
                continue;
        }
        if (act(firing, entries) && active->rule->effect.kind == EffectKind::omit) {
            omitted = true;
            judged.clear();
        }
    }
    if (omitted)
        omit_more(entries, std::move(judged));
}

void RuledCall::omit_more(ListEntries &entries, std::vector<const ActiveRule *> judged) {
    const std::vector<ActiveRule *> &rules = m_rules.rules_for(m_view.function());
    for (size_t i = 0; i < rules.size() && m_status == 0; ++i) {
        Firing firing = {rules[i], 0};
        if (rules[i]->rule->effect.kind != EffectKind::omit ||
            std::find(judged.begin(), judged.end(), rules[i]) != judged.end() || !is_for_result(*rules[i], entries))
            continue;
        judged.push_back(rules[i]);
        if (m_rules.fires(*rules[i], m_view, firing.draw) && act(firing, entries)) {
            judged.clear();
            i = SIZE_MAX;  // from the first rule on
        }
    }
}

}  // namespace filter
