#include "filter/filter.h"

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <stdexcept>

#include "filter/caller_memory.h"
#include "filter/caller_stack.h"
#include "filter/effects.h"
#include "filter/entry.h"
#include "filter/ledger/wall_clock.h"
#include "filter/rules/function_traits.h"
#include "filter/rules/sentence.h"

namespace filter {

namespace {

constexpr uint64_t look_every_ns = 100000000;

// Stack arguments of a function whose list is not known: more than any caller passes.
constexpr uint64_t most_stack_words = 128;

class KeptErrno {
public:
    KeptErrno() : m_number(errno) {}
    ~KeptErrno() { errno = m_number; }
    KeptErrno(const KeptErrno &) = delete;
    KeptErrno &operator=(const KeptErrno &) = delete;

private:
    int m_number;
};

class Running {
public:
    explicit Running(std::atomic<uint64_t> &count) : m_count(count) { ++m_count; }
    ~Running() { --m_count; }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

private:
    std::atomic<uint64_t> &m_count;
};

std::string path_of_this_library() {
    Dl_info info;
    return dladdr(reinterpret_cast<void *>(&filter_dispatch), &info) != 0 ? info.dli_fname : "";
}

// Calls that open or close a handle, or hand over a table, are looked at even where no rule asks.
bool is_always_hooked(unsigned function) {
    switch (function) {
        case fn_stspi_init:
        case fn_stspi_init2:
        case fn_stspi_open_server:
        case fn_stspi_create_server:
        case fn_stspi_open_target_server:
        case fn_stspi_close_server:
        case fn_stspi_open_lsu_list:
        case fn_stspi_open_dynamic_lsu_list:
        case fn_stspi_close_lsu_list:
        case fn_stspi_create_image:
        case fn_stspi_open_image:
        case fn_stspi_close_image:
        case fn_stspi_open_image_list:
        case fn_stspi_close_image_list:
            return true;
        default:
            return false;
    }
}

bool is_list(unsigned function) { return (traits(function).abilities & ability_list) != 0; }

// Numbers of the journal's table, by those of the exported functions.
journal::EntryPointNumber journal_number(unsigned function) {
    static const std::vector<journal::EntryPointNumber> numbers = [] {
        std::vector<journal::EntryPointNumber> all;
        for (const char *name : function_names)
            all.push_back(journal::find_entry_point(name));
        return all;
    }();
    return numbers[function];
}

}  // namespace

// ---- beginning and end ----

Filter::Filter() : m_settings_path(settings_path()), m_own_path(path_of_this_library()) {
    const KeptErrno kept;
    for (AnyFunction &target : filter_targets)
        target = filter_hooked;
    try {
        load();
    } catch (const std::exception &failure) {
        m_failure = failure.what();
        m_plugin.reset();
    }
}

Filter::~Filter() {
    if (m_ledger != nullptr && m_process != nullptr)
        Ledger::leave_process(*m_process);
    delete m_rules.load();
}

void Filter::load() {
    m_mark = mark_of_file(m_settings_path);
    ReadSettings settings = read_settings_file(m_settings_path, m_own_path);
    const std::string where = m_settings_path + ":" + std::to_string(settings.section.plugin_line) + ":1: error: ";
    try {
        m_plugin = std::make_unique<WrappedPlugin>(settings.section.plugin);
    } catch (const std::runtime_error &failure) {
        throw std::runtime_error(where + "the plug-in cannot be loaded: " + failure.what());
    }
    show_tables(*m_plugin);
    open_ledger(settings);
    auto rules = std::make_unique<RuleSet>(settings.section, settings.version, m_ledger.get());
    open_journal(settings);
    for (unsigned function = 0; function < function_count; ++function)
        filter_next[function] = m_plugin->function(function);
    take(std::move(rules));
    m_next_look = clock_ns(CLOCK_MONOTONIC_COARSE) + look_every_ns;
}

void Filter::open_ledger(const ReadSettings &settings) {
    // Nothing is put beside /dev/null, which stands for settings without rules.
    if (settings.section.rules.empty() && !std::filesystem::is_regular_file(m_settings_path))
        return;
    try {
        m_ledger = Ledger::begin(settings.section.ledger);
        m_process = m_ledger->enter_process();
    } catch (const std::runtime_error &failure) {
        // Without rules there is nothing to count, and nobody is to notice that the filter is there.
        if (!settings.section.rules.empty())
            throw std::runtime_error(m_settings_path + ": error: " + failure.what() +
                                     " (a line \"ledger PATH\" puts it elsewhere)");
    }
}

void Filter::open_journal(const ReadSettings &settings) {
    const Section &section = settings.section;
    if (section.journal.empty())
        return;
    journal::WriterOptions options;
    options.path = section.journal;
    if (section.journal_bytes != 0)
        options.limit = section.journal_bytes;
    options.mode = section.journal_grows ? journal::Mode::growing : journal::Mode::ring;
    options.data = section.journal_data == JournalData::sizes    ? journal::DataMode::size
                   : section.journal_data == JournalData::hashes ? journal::DataMode::hash
                                                                 : journal::DataMode::bytes;
    journal::Origin origin;
    origin.writer = "stspi_filter " STSPI_VERSION;
    origin.plugin = section.plugin;
    origin.rules = settings.text;
    origin.seed = section.has_seed || m_ledger == nullptr ? section.seed : m_ledger->layout().seed.load();
    std::string error;
    int number = 0;
    m_journal = journal::Writer::open(options, origin, error, number);
    if (m_journal != nullptr)
        m_sessions = std::make_unique<SessionWatch>(*m_journal);
    // A full disk takes the journal away, not the framework's work.
    if (m_journal == nullptr && number != ENOSPC)
        throw std::runtime_error(m_settings_path + ":" + std::to_string(section.journal_line) + ":1: error: " + error);
    if (m_journal == nullptr)
        std::fprintf(stderr, "stspi_filter: no journal is written: %s\n", error.c_str());
}

void Filter::take(std::unique_ptr<RuleSet> rules) {
    if (m_process != nullptr) {
        m_process->version = rules->version();
        m_process->rejected = 0;
    }
    std::unique_ptr<RuleSet> old(m_rules.exchange(rules.release()));
    if (old != nullptr)
        m_retired.push_back(std::move(old));
    aim();
}

void Filter::aim() {
    const RuleSet &rules = *m_rules;
    m_hooks_lists = m_hooks_lists || rules.concerns(fn_stspi_list_lsu) || rules.concerns(fn_stspi_list_image);
    for (unsigned function = 0; function < function_count; ++function) {
        const bool hooked = m_journal != nullptr || is_always_hooked(function) || rules.concerns(function) ||
                            filter_next[function] == nullptr || (is_list(function) && m_hooks_lists);
        __atomic_store_n(&filter_targets[function], hooked ? &filter_hooked : &filter_watched, __ATOMIC_RELEASE);
    }
}

Outcome Filter::refuse(const CallFrame &frame) const {
    if (frame.function == fn_stspi_init)
        std::fprintf(stderr, "%s\n", m_failure.c_str());
    return {frame.function == fn_stspi_claim ? STS_E_NOT_CLAIMED : STS_E_INTERNAL, 1};
}

// ---- looking at the settings ----

bool Filter::is_time_to_look() const {
    return clock_ns(CLOCK_MONOTONIC_COARSE) >= m_next_look.load(std::memory_order_relaxed);
}

void Filter::look() {
    const std::unique_lock guard(m_looking, std::try_to_lock);
    if (!guard.owns_lock() || !is_time_to_look())
        return;
    m_next_look = clock_ns(CLOCK_MONOTONIC_COARSE) + look_every_ns;
    if (m_is_forked.exchange(false) && m_ledger != nullptr) {
        m_process = m_ledger->enter_process();
        if (m_process != nullptr)
            m_process->version = m_rules.load()->version();
    }
    if (m_running == 0)
        m_retired.clear();
    const FileMark mark = mark_of_file(m_settings_path);
    if (mark == m_mark)
        return;
    m_mark = mark;
    look_at_settings();
}

void Filter::look_at_settings() {
    uint64_t version = 0;
    try {
        ReadSettings settings = read_settings_file(m_settings_path, m_own_path);
        version = settings.version;
        const RuleSet &now = *m_rules;
        if (version == now.version() && (m_process == nullptr || m_process->rejected == 0))
            return;
        if (settings.section.plugin != now.section().plugin || settings.section.journal != now.section().journal ||
            settings.section.ledger != now.section().ledger)
            throw std::runtime_error(m_settings_path +
                                     ": error: plug-in, journal and ledger cannot change while a process uses them");
        if (m_ledger == nullptr) {
            open_ledger(settings);
            if (m_process != nullptr)
                m_process->version = now.version();
        }
        take(std::make_unique<RuleSet>(settings.section, version, m_ledger.get()));
        if (m_journal != nullptr)
            m_journal->rules(settings.text);
    } catch (const std::runtime_error &failure) {
        if (m_process != nullptr)
            m_process->rejected = version == 0 ? 1 : version;
        tell_mistakes(failure.what());
    }
}

void Filter::tell_mistakes(const std::string &mistakes) const {
    std::fprintf(stderr, "%s\n%s: the rules that were in force stay in force\n", mistakes.c_str(),
                 m_settings_path.c_str());
}

void Filter::before_fork() {
    m_looking.lock();
    m_handles.lock_all();
    if (m_sessions != nullptr)
        m_sessions->lock().lock();
}

void Filter::after_fork_in_parent() {
    if (m_sessions != nullptr)
        m_sessions->lock().unlock();
    m_handles.unlock_all();
    m_looking.unlock();
}

void Filter::after_fork_in_child() {
    after_fork_in_parent();
    m_running = 0;  // the calls of other threads did not come along
    m_process = nullptr;
    m_is_forked = true;
    m_next_look = 0;
    if (RuleSet *rules = m_rules)
        rules->forget_process();
}

// ---- calls ----

struct Filter::Call {
    Call(CallFrame &call_frame, HandleMap &handles, const RuleSet &in_force)
        : frame(call_frame), rules(in_force), view(call_frame, handles), effects(view) {}

    CallFrame &frame;
    const RuleSet &rules;
    CallView view;
    Effects effects;
    std::vector<Firing> before;
    std::vector<Firing> after;
    int32_t status = 0;
    bool answered = false;
    journal::CallNumber journal = 0;
    uint64_t words[journal::MAX_ARGUMENTS] = {};  // as they came, for the journal
};

Outcome Filter::dispatch(CallFrame &frame) {
    if (m_plugin == nullptr)
        return refuse(frame);
    {
        const KeptErrno kept;
        if (is_time_to_look())
            look();
    }
    if (filter_next[frame.function] == nullptr)
        return {STS_E_NOT_SUPPORTED, 1};
    const Running running(m_running);
    return pass(frame, *m_rules);
}

int32_t Filter::call_wrapped(CallFrame &frame) const {
    const int arguments = traits(static_cast<unsigned>(frame.function)).arguments;
    uint64_t words = arguments > 6 ? 2 : 0;
    if (arguments < 0)
        words = readable_words(frame.stack, most_stack_words);
    return static_cast<int32_t>(filter_call(&frame, filter_next[frame.function], words));
}

void Filter::mend_registration(const CallFrame &frame) const {
    if (frame.function == fn_stspi_init) {
        auto *record = pointer<sts_registration_t>(frame.arguments[2]);
        if (record != nullptr && record->entry_points == m_plugin->table())
            record->entry_points = STSSanDiskEntryPoints;
    } else if (frame.function == fn_stspi_init2) {
        auto *record = pointer<sts_registration2_t>(frame.arguments[1]);
        if (record != nullptr && record->entry_points == m_plugin->table2())
            record->entry_points = STSSANDiskEntryPoints2;
    }
}

void Filter::note_fired(const Call &call, ActiveRule &active) const {
    const uint64_t now = wall_clock_ns();
    uint64_t never = 0;
    active.slot->first_fired.compare_exchange_strong(never, now, std::memory_order_relaxed);
    active.slot->last_fired.store(now, std::memory_order_relaxed);
    active.slot->fired.fetch_add(1, std::memory_order_relaxed);
    if (m_journal != nullptr)
        m_journal->fault(call.journal, journal_number(call.view.function()), static_cast<uint32_t>(active.rule->line),
                         effect_words(active.rule->effect));
}

// For rules that ask how much their calls have moved, whether or not that is within their limits by now.
void Filter::count_moved(Call &call) {
    const unsigned function = call.view.function();
    if (call.status != 0 || !call.rules.counts_bytes(function))
        return;
    const uint64_t *count = call.view.count();
    const uint64_t moved = count != nullptr ? *count : call.view.length();
    for (ActiveRule *active : call.rules.rules_for(function))
        if (active->rule->bytes && call.rules.names_match(*active, call.view))
            active->slot->bytes.fetch_add(moved, std::memory_order_relaxed);
}

// Every rule counts the call before any acts on it.
void Filter::act_before(Call &call) const {
    const unsigned function = call.view.function();
    if (call.rules.concerns(function))
        m_ledger->layout().calls[function].fetch_add(1, std::memory_order_relaxed);
    for (ActiveRule *active : call.rules.rules_for(function)) {
        uint64_t draw = 0;
        if (RuleSet::asks_result(*active->rule, function) || !call.rules.matches(*active, call.view) ||
            !call.rules.fires(*active, call.view, draw))
            continue;
        const bool is_after = acts_after(*active->rule, function);
        (is_after ? call.after : call.before).push_back({active, draw});
    }
    for (const Firing &firing : call.before) {
        bool acted = false;
        // Noted first: a kill leaves no later.
        note_fired(call, *firing.active);
        call.answered = call.effects.before(firing, call.status, acted);
        if (!acted)
            firing.active->slot->fired.fetch_sub(1, std::memory_order_relaxed);
        if (call.answered)
            return;
    }
    for (const Firing &firing : call.after)
        call.effects.prepare_after(firing);
}

void Filter::act_after(Call &call) const {
    const unsigned function = call.view.function();
    ListEntries entries(call.view, [&] { return call_wrapped(call.frame); });
    size_t next = 0;
    for (ActiveRule *active : call.rules.rules_for(function)) {
        Firing firing = {active, 0};
        if (next < call.after.size() && call.after[next].active == active) {
            firing = call.after[next++];
        } else if (!RuleSet::asks_result(*active->rule, function) || !call.rules.matches(*active, call.view) ||
                   !RuleSet::matches_result(*active, call.status, function,
                                            is_list(function) ? entries.entry() : std::string_view()) ||
                   !call.rules.fires(*active, call.view, firing.draw)) {
            continue;
        }
        note_fired(call, *active);
        if (!call.effects.after(firing, call.status, entries))
            active->slot->fired.fetch_sub(1, std::memory_order_relaxed);
    }
}

void Filter::begin_record(Call &call) {
    CallFrame &frame = call.frame;
    const unsigned function = call.view.function();
    std::copy(std::begin(frame.arguments), std::end(frame.arguments), call.words);
    if (traits(function).arguments > 6)
        call.words[6] = frame.stack[0];
    call.journal = m_journal->enter(journal_number(function), call.words);
    if (const sts_session_def_v7_t *session = call.view.session())
        m_sessions->refresh(session);
    if (function == fn_stspi_open_server || function == fn_stspi_create_server ||
        function == fn_stspi_get_server_prop_byname)
        frame.arguments[0] = reinterpret_cast<uint64_t>(m_sessions->watched(
            reinterpret_cast<const sts_session_def_v7_t *>(frame.arguments[0])));  // NOLINT(performance-no-int-to-ptr)
}

namespace {

// Messages that the plug-in sends meanwhile belong to the call, which may be made inside another one's log function.
class CallOfThread {
public:
    explicit CallOfThread(journal::CallNumber call) : m_before(SessionWatch::enter(call)) {}
    ~CallOfThread() { SessionWatch::enter(m_before); }
    CallOfThread(const CallOfThread &) = delete;
    CallOfThread &operator=(const CallOfThread &) = delete;

private:
    journal::CallNumber m_before;
};

}  // namespace

Outcome Filter::pass(CallFrame &frame, const RuleSet &rules) {
    Call call(frame, m_handles, rules);
    const unsigned function = call.view.function();
    {
        const KeptErrno kept;
        if (m_journal != nullptr)
            begin_record(call);
        act_before(call);
        if (!call.answered) {
            const bool look_after = is_always_hooked(function) || is_list(function) || rules.asks_result(function) ||
                                    rules.counts_bytes(function) || !call.after.empty() || m_journal != nullptr;
            if (!look_after && call.before.empty())
                return {0, 0};
            call.view.note_before();
        }
    }
    if (!call.answered) {
        const CallOfThread of_thread(call.journal);
        ListEntries entries(call.view, [&] { return call_wrapped(frame); });
        call.status = is_list(function) ? entries.give() : call_wrapped(frame);
        const KeptErrno kept;
        mend_registration(frame);
        call.view.note_after(call.status);
        count_moved(call);
        act_after(call);
    }
    const KeptErrno kept;
    if (m_journal != nullptr)
        m_journal->leave(call.journal, journal_number(function), call.words, call.status);
    return {call.status, 1};
}

namespace {

// Null before this library is initialised and after it is finished: calls are refused then.
std::atomic<Filter *> the_filter{nullptr};

void before_fork() { the_filter.load()->before_fork(); }
void after_fork_in_parent() { the_filter.load()->after_fork_in_parent(); }
void after_fork_in_child() { the_filter.load()->after_fork_in_child(); }

__attribute__((constructor)) void begin() {
    the_filter = new Filter;
    // Taken back by the C library when this library is unloaded.
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

__attribute__((destructor)) void end() {
    // At the end of a process other threads may be in the middle of a call: what they use stays.
    if (const Filter *filter = the_filter.exchange(nullptr); !filter->is_busy())
        delete filter;
}

}  // namespace
}  // namespace filter

filter::AnyFunction filter_targets[filter::function_count];
filter::AnyFunction filter_next[filter::function_count];

filter::Outcome filter_dispatch(filter::CallFrame *frame) {
    filter::Filter *filter = filter::the_filter;
    return filter == nullptr ? filter::Outcome{STS_E_INTERNAL, 1} : filter->dispatch(*frame);
}

int filter_is_time_to_look() {
    const filter::Filter *filter = filter::the_filter;
    return filter == nullptr || filter->is_time_to_look() ? 1 : 0;
}
