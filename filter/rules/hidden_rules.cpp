#include "filter/rules/hidden_rules.h"

#include <csignal>

namespace filter {

namespace {

bool ends_call(const Rule &rule) {
    if (rule.place != Place::before)
        return false;
    switch (rule.effect.kind) {
        case EffectKind::answer:
        case EffectKind::lose:
            return true;
        case EffectKind::kill:
            return rule.effect.low == SIGKILL;  // others can be caught
        case EffectKind::hold:
            return rule.effect.text.empty();
        default:
            return false;
    }
}

bool is_always_drawn(const Rule &rule) { return !rule.chance || *rule.chance >= 1; }

bool lets_nothing_pass(Rule rule) {
    if (is_always_drawn(rule))
        rule.chance.reset();
    return !rule.has_window();
}

bool covers(const std::optional<Interval> &wide, const std::optional<Interval> &narrow) {
    return !wide || (narrow && wide->low <= narrow->low && narrow->high <= wide->high);
}

bool has_same_names(const Rule &a, const Rule &b) {
    return a.names == b.names && a.offset == b.offset && a.length == b.length;
}

bool covers(const std::optional<std::string> &wide, const std::optional<std::string> &narrow) {
    return !wide || wide == narrow || (*wide == "*" && narrow);
}

// Each call that the later one is for is also one for the earlier. Patterns are not weighed against each other: only no
// pattern, the same one, or "*" covers.
bool is_for_all_calls_of(const Rule &earlier, const Rule &later) {
    if ((later.functions & ~earlier.functions).any() || earlier.bytes || earlier.returned != Returned::anything)
        return false;
    for (size_t kind = 0; kind < name_kinds; ++kind)
        if (!covers(earlier.names[kind], later.names[kind]))
            return false;
    return covers(earlier.offset, later.offset) && covers(earlier.length, later.length);
}

// While the later one's window is open, the earlier one's is. Counts compare only where both count the same calls.
bool is_open_whenever(const Rule &earlier, const Rule &later) {
    if (lets_nothing_pass(earlier))
        return true;
    const bool counts_only = earlier.every == 1 && earlier.each == later.each && earlier.after_ns == 0 &&
                             earlier.for_ns == UINT64_MAX && earlier.while_file.empty() && is_always_drawn(earlier);
    return counts_only && earlier.functions == later.functions && has_same_names(earlier, later) && !later.bytes &&
           later.returned == Returned::anything && earlier.calls.low <= later.calls.low &&
           later.calls.high <= earlier.calls.high;
}

}  // namespace

std::optional<size_t> hidden_by(const std::vector<Rule> &rules, size_t rule) {
    for (size_t earlier = 0; earlier < rule; ++earlier)
        if (ends_call(rules[earlier]) && is_for_all_calls_of(rules[earlier], rules[rule]) &&
            is_open_whenever(rules[earlier], rules[rule]))
            return earlier;
    return std::nullopt;
}

}  // namespace filter
