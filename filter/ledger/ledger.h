// A ledger, mapped.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "filter/ledger/ledger_layout.h"
#include "filter/rules/settings.h"

namespace filter {

class Ledger {
public:
    // Maps the ledger of that path and begins it when there is none, or when what is there is no ledger of this form.
    // Throws std::runtime_error, which names the path and the reason. No descriptor stays open.
    static std::unique_ptr<Ledger> begin(const std::string &path);
    // The same for a ledger that is only read, and must be there.
    static std::unique_ptr<Ledger> read(const std::string &path);
    ~Ledger();
    Ledger(const Ledger &) = delete;
    Ledger &operator=(const Ledger &) = delete;

    LedgerLayout &layout() const { return *m_layout; }

    // Enters this process, or finds its entry; in the child of a fork, too. A null result: there are more processes than
    // the ledger holds, or another one keeps it locked.
    ProcessSlot *enter_process();
    // Leaves, at the end or when the filter is unloaded.
    static void leave_process(ProcessSlot &slot);

    // The slots of rules, in their order, under a version of the settings. Throws std::runtime_error when there are too
    // many, or another process keeps the ledger locked.
    std::vector<RuleSlot *> enter_rules(const std::vector<Rule> &rules, uint64_t version);

    // One more match of an identity; returns how many came before. Where the table is full, identities share a count.
    uint64_t count_identity(uint64_t identity);

private:
    Ledger(std::string path, LedgerLayout *layout) : m_path(std::move(path)), m_layout(layout) {}

    std::string m_path;
    LedgerLayout *m_layout;
};

// A rule's key: equal rules of one file are told apart by how many come before.
std::vector<uint64_t> rule_keys(const std::vector<Rule> &rules);

// What tells one content of the settings file from another. Never 0.
uint64_t settings_version(std::string_view text);

// True while the process that the slot was entered for runs.
bool is_alive(const ProcessSlot &slot);

// Where the ledger of a section of a settings file is kept unless the section says otherwise. The first section is 0.
std::string default_ledger_path(const std::string &settings_path, size_t section = 0);

}  // namespace filter
