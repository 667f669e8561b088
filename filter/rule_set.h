// The rules in force, ready to be asked.
#pragma once

#include <atomic>
#include <bitset>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "filter/call_view.h"
#include "filter/ledger/ledger.h"
#include "filter/rules/settings.h"

namespace filter {

// A name that a rule asks for. The bytes in front of a pattern's first wildcard turn most names down at once.
struct AskedName {
    NameKind kind;
    std::string_view pattern;
    std::string_view head;
    char first;  // of the head, if there is one: kept here, since it mostly is enough
};

// A rule with its numbers in the ledger.
struct ActiveRule {
    const Rule *rule = nullptr;
    std::vector<AskedName> names;  // but hosts; of texts in the rule
    RuleSlot *slot = nullptr;
    uint64_t key = 0;
    bool draws = false;  // chance plays
    std::atomic<uint64_t> process_count{0};
    std::mutex lock;
    std::unordered_map<uint64_t, uint64_t> thread_counts;
};

class RuleSet {
public:
    // Without rules no ledger is needed. Throws std::runtime_error when the ledger holds no more.
    RuleSet(Section section, uint64_t version, Ledger *ledger);

    const Section &section() const { return m_section; }
    uint64_t version() const { return m_version; }
    uint64_t seed() const { return m_seed; }
    // Chance plays in one of them.
    bool draws() const;

    // In the order of the file.
    const std::vector<ActiveRule *> &rules_for(unsigned function) const { return m_by_function[function]; }
    bool concerns(unsigned function) const { return !m_by_function[function].empty(); }
    // One of them asks what came back, or which entry.
    bool asks_result(unsigned function) const { return m_asks_result[function]; }
    // One of them counts the bytes that calls move.
    bool counts_bytes(unsigned function) const { return m_counts_bytes[function]; }

    // Whether the rule is for calls like this one: names, offset and length.
    static bool names_match(const ActiveRule &active, CallView &call);
    // The same, and the bytes moved so far.
    static bool matches(const ActiveRule &active, CallView &call);
    // The same for what is known after the call. entry: of a list, "" at its end.
    static bool matches_result(const ActiveRule &active, int32_t status, unsigned function, std::string_view entry);
    // Counts a call that matches, and tells whether something happens to it. draw: random bits for the effect.
    bool fires(ActiveRule &active, CallView &call, uint64_t &draw) const;

    // Around a fork: what another thread counts meanwhile would stay locked in the child.
    void lock_counts() const;
    void unlock_counts() const;
    // In the child of a fork, which is a process of its own; with the counts locked.
    void forget_process();

    // Whether the rule can only be judged after the call of this function.
    static bool asks_result(const Rule &rule, unsigned function);

private:
    static uint64_t count_of_thread(ActiveRule &active);

    Section m_section;
    uint64_t m_version;
    uint64_t m_seed = 0;
    Ledger *m_ledger;
    std::vector<std::unique_ptr<ActiveRule>> m_rules;
    std::vector<ActiveRule *> m_by_function[function_count];
    std::bitset<function_count> m_asks_result;
    std::bitset<function_count> m_counts_bytes;
};

// A number for the calling thread that no other thread of the process has, nor gets.
uint64_t thread_number();

}  // namespace filter
