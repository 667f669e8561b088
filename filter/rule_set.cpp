#include "filter/rule_set.h"

#include <unistd.h>

#include <algorithm>

#include "base/thread_value.h"
#include "filter/chance.h"
#include "filter/ledger/text_hash.h"
#include "filter/ledger/wall_clock.h"
#include "filter/rules/pattern.h"

namespace filter {

namespace {

base::ThreadValue own_number;

}  // namespace

uint64_t thread_number() {
    static std::atomic<uint64_t> last{0};
    uint64_t own = own_number.get();
    if (own == 0) {
        own = last.fetch_add(1, std::memory_order_relaxed) + 1;
        own_number.set(own);
    }
    return own;
}

namespace {

bool begins_as(const AskedName &asked, std::string_view name) {
    const size_t size = asked.head.size();
    return size == 0 || (name.size() >= size && name[0] == asked.first && name.substr(0, size) == asked.head);
}

std::vector<AskedName> asked_names(const Rule &rule) {
    std::vector<AskedName> asked;
    asked.reserve(name_kinds);
    for (const NameKind kind : {name_server, name_lsu, name_image, name_mount_point})
        if (rule.names[kind]) {
            const std::string_view head = literal_head(*rule.names[kind]);
            asked.push_back({kind, *rule.names[kind], head, head.empty() ? '\0' : head.front()});
        }
    return asked;
}

}  // namespace

RuleSet::RuleSet(Section section, uint64_t version, Ledger *ledger)
    : m_section(std::move(section)), m_version(version), m_ledger(ledger) {
    if (ledger == nullptr)
        return;
    LedgerLayout &layout = ledger->layout();
    m_seed = m_section.has_seed ? m_section.seed : layout.seed.load();
    layout.has_own_seed = m_section.has_seed;
    layout.own_seed = m_section.seed;
    const std::vector<RuleSlot *> slots = ledger->enter_rules(m_section.rules, version);
    for (size_t i = 0; i < m_section.rules.size(); ++i) {
        const Rule &rule = m_section.rules[i];
        auto active = std::make_unique<ActiveRule>();
        active->rule = &rule;
        active->names = asked_names(rule);
        active->slot = slots[i];
        active->key = slots[i]->key;
        const Effect &effect = rule.effect;
        active->draws = rule.chance.has_value() || (effect.kind == EffectKind::delay && effect.low != effect.high) ||
                        (effect.kind == EffectKind::flip && effect.bit < 0) || effect.where == Where::random;
        for (unsigned function = 0; function < function_count; ++function) {
            if (!rule.functions[function])
                continue;
            m_by_function[function].push_back(active.get());
            if (asks_result(rule, function))
                m_asks_result.set(function);
            if (rule.bytes)
                m_counts_bytes.set(function);
        }
        m_rules.push_back(std::move(active));
    }
}

bool RuleSet::draws() const {
    return std::any_of(m_rules.begin(), m_rules.end(), [](const auto &rule) { return rule->draws; });
}

bool RuleSet::asks_result(const Rule &rule, unsigned function) {
    const bool asks_entry = (rule.names[name_lsu] && is_entry_name(function, name_lsu)) ||
                            (rule.names[name_image] && is_entry_name(function, name_image));
    return rule.returned != Returned::anything || asks_entry;
}

bool RuleSet::names_match(const ActiveRule &active, CallView &call) {
    const Rule &rule = *active.rule;
    for (const AskedName &asked : active.names) {
        if (is_entry_name(call.function(), asked.kind))
            continue;
        const std::string_view name = call.name(asked.kind);
        if (!begins_as(asked, name) || !filter::matches(asked.pattern, name))
            return false;
    }
    if (rule.names[name_host] && !call.host_matches(*rule.names[name_host]))
        return false;
    if (rule.offset && !rule.offset->holds(call.offset()))
        return false;
    return !rule.length || rule.length->holds(call.length());
}

bool RuleSet::matches(const ActiveRule &active, CallView &call) {
    const auto &bytes = active.rule->bytes;
    return names_match(active, call) &&
           (!bytes || bytes->holds(active.slot->bytes.load(std::memory_order_relaxed) + call.length()));
}

bool RuleSet::matches_result(const ActiveRule &active, int32_t status, unsigned function, std::string_view entry) {
    const Rule &rule = *active.rule;
    if ((rule.returned == Returned::success && status != 0) || (rule.returned == Returned::error && status == 0) ||
        (rule.returned == Returned::status && status != rule.returned_status))
        return false;
    for (const NameKind kind : {name_lsu, name_image})
        if (rule.names[kind] && is_entry_name(function, kind) &&
            (status != 0 || !filter::matches(*rule.names[kind], entry)))
            return false;
    return true;
}

uint64_t RuleSet::count_of_thread(ActiveRule &active) {
    const std::lock_guard guard(active.lock);
    return ++active.thread_counts[thread_number()];
}

bool RuleSet::fires(ActiveRule &active, CallView &call, uint64_t &draw) const {
    const Rule &rule = *active.rule;
    RuleSlot &slot = *active.slot;
    uint64_t count = slot.matched.fetch_add(1, std::memory_order_relaxed) + 1;
    const uint64_t now = wall_clock_ns();
    uint64_t first = 0;
    if (slot.first_match.compare_exchange_strong(first, now, std::memory_order_relaxed))
        first = now;
    slot.last_match.store(now, std::memory_order_relaxed);
    if (rule.each == Each::process)
        count = active.process_count.fetch_add(1, std::memory_order_relaxed) + 1;
    else if (rule.each == Each::thread)
        count = count_of_thread(active);
    // Drawn whether or not the window is open: what a call gets does not hang on it.
    double share = 0;
    if (active.draws) {
        const uint64_t identity = call.identity();
        const uint64_t earlier = m_ledger->count_identity(mixed(active.key, identity));
        draw = draw_for(m_seed, active.key, earlier, mixed(identity, mixed(call.offset(), call.length())));
        share = share_of(draw);
    }
    if (!rule.calls.holds(count) || (count - rule.calls.low + 1) % rule.every != 0)
        return false;
    const uint64_t elapsed = now > first ? now - first : 0;
    if (elapsed < rule.after_ns || elapsed - rule.after_ns > rule.for_ns)
        return false;
    if (!rule.while_file.empty() && access(rule.while_file.c_str(), F_OK) != 0)
        return false;
    return !rule.chance || share < *rule.chance;
}

void RuleSet::lock_counts() const {
    for (const auto &active : m_rules)
        active->lock.lock();
}

void RuleSet::unlock_counts() const {
    for (const auto &active : m_rules)
        active->lock.unlock();
}

void RuleSet::forget_process() {
    for (const auto &active : m_rules) {
        active->process_count = 0;
        active->thread_counts.clear();
    }
}

}  // namespace filter
