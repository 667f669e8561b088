// The filter of this library: the wrapped plug-in, the rules in force, and what becomes of each call.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "filter/call_frame.h"
#include "filter/call_view.h"
#include "filter/handle_names.h"
#include "filter/ledger/ledger.h"
#include "filter/output_watch.h"
#include "filter/rule_set.h"
#include "filter/session_watch.h"
#include "filter/settings_file.h"
#include "filter/wrapped_plugin.h"
#include "journal/writer.h"

namespace filter {

class Filter {
public:
    // Reads the settings and loads the plug-in. What goes wrong is told by stspi_init, and no call is passed on.
    Filter();
    ~Filter();
    Filter(const Filter &) = delete;
    Filter &operator=(const Filter &) = delete;

    Outcome dispatch(CallFrame &frame);

    // True while calls run that may look at rules.
    bool is_busy() const { return m_running != 0; }

    bool is_time_to_look() const;

    void before_fork();
    void after_fork_in_parent();
    void after_fork_in_child();

private:
    void load();
    void open_journal(const ReadSettings &settings);
    void open_ledger(const ReadSettings &settings);
    void take(std::unique_ptr<RuleSet> rules);
    void tell_drawn_seed(const RuleSet &rules) const;
    void aim();
    Outcome refuse(const CallFrame &frame) const;

    void look();
    void look_at_settings();
    void tell_mistakes(const std::string &mistakes) const;

    Outcome pass(CallFrame &frame, const RuleSet &rules);
    journal::CallNumber begin_record(CallFrame &frame, CallView &view, uint64_t *words);
    int32_t call_wrapped(CallFrame &frame, journal::CallNumber number) const;
    void mend_registration(const CallFrame &frame) const;

    std::string m_settings_path;
    std::string m_own_path;
    std::string m_failure;  // why there is no plug-in
    std::unique_ptr<WrappedPlugin> m_plugin;
    std::unique_ptr<Ledger> m_ledger;
    ProcessSlot *m_process = nullptr;
    std::unique_ptr<journal::Writer> m_journal;
    std::unique_ptr<SessionWatch> m_sessions;  // with a journal
    std::unique_ptr<OutputWatch> m_output;     // with a journal that is to have it
    HandleMap m_handles;

    std::atomic<RuleSet *> m_rules{nullptr};
    std::atomic<uint64_t> m_running{0};               // calls that may hold a rule set
    std::vector<std::unique_ptr<RuleSet>> m_retired;  // until no such call is left

    std::mutex m_looking;
    std::atomic<uint64_t> m_next_look{0};  // on the coarse monotonic clock
    std::atomic<bool> m_is_forked{false};
    FileMark m_mark;
    bool m_hooks_lists = false;  // a list may have entries that were kept back
};

}  // namespace filter
