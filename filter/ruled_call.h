// One call on its way through the rules: which of them fire, and what they do to it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "filter/call_frame.h"
#include "filter/call_view.h"
#include "filter/effects.h"
#include "filter/ledger/ledger.h"
#include "filter/list_entries.h"
#include "filter/rule_set.h"
#include "journal/writer.h"

namespace filter {

class RuledCall {
public:
    // ledger: null only without rules. record: the journal and the call's number in it, for rules that fire.
    RuledCall(CallFrame &frame, HandleMap &handles, const RuleSet &rules, Ledger *ledger)
        : m_rules(rules), m_ledger(ledger), m_view(frame, handles), m_effects(m_view) {}

    void begin_record(journal::Writer *journal, journal::CallNumber number) {
        m_journal = journal;
        m_number = number;
    }

    CallView &view() { return m_view; }
    bool is_answered() const { return m_answered; }
    int32_t status() const { return m_status; }

    // Counts the call for every rule before any acts on it; then those act that act before it.
    void act_before();
    // Whether a rule wants to know how the call ends, or has had to do with it.
    bool has_more_to_do() const;

    // The wrapped call has come back. next: asks the wrapped plug-in once more, for lists.
    void came_back(int32_t status, const std::function<int32_t()> &next);

private:
    void count_moved();
    void act_after(const std::function<int32_t()> &next);
    // A rule that leaves entries out by name judges what comes in the place of such an entry as well.
    void omit_more(ListEntries &entries, std::vector<const ActiveRule *> judged);
    bool is_for_result(const ActiveRule &active, const ListEntries &entries);
    bool act(const Firing &firing, ListEntries &entries);
    void note_fired(ActiveRule &active) const;

    const RuleSet &m_rules;
    Ledger *m_ledger;
    CallView m_view;
    Effects m_effects;
    std::vector<Firing> m_before;
    std::vector<Firing> m_after;
    int32_t m_status = 0;
    bool m_answered = false;
    journal::Writer *m_journal = nullptr;
    journal::CallNumber m_number = 0;
};

}  // namespace filter
