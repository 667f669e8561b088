#include "filter/filter.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "filter/caller_memory.h"
#include "filter/caller_stack.h"
#include "filter/entry.h"
#include "filter/ledger/wall_clock.h"
#include "filter/list_entries.h"
#include "filter/ruled_call.h"
#include "filter/rules/function_traits.h"

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
    if (m_journal != nullptr && section.journal_output)
        m_output = std::make_unique<OutputWatch>(*m_journal);
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
    tell_drawn_seed(*rules);
    std::unique_ptr<RuleSet> old(m_rules.exchange(rules.release()));
    if (old != nullptr)
        m_retired.push_back(std::move(old));
    aim();
}

// By the first process that chance plays with.
void Filter::tell_drawn_seed(const RuleSet &rules) const {
    if (rules.section().has_seed || !rules.draws() || m_ledger->layout().seed_is_told.exchange(1) != 0)
        return;
    const std::string seed = std::to_string(rules.seed());
    std::fprintf(stderr, "stspi_filter: %s: seed %s is drawn (\"seed %s\" in the file gives the same run)\n",
                 m_settings_path.c_str(), seed.c_str(), seed.c_str());
}

void Filter::aim() {
    const RuleSet &rules = *m_rules;
    m_hooks_lists = m_hooks_lists || rules.concerns(fn_stspi_list_lsu) || rules.concerns(fn_stspi_list_image);
    for (unsigned function = 0; function < function_count; ++function) {
        const bool hooked = m_journal != nullptr || is_always_hooked(function) || rules.concerns(function) ||
                            filter_next[function] == nullptr || (gives_list_entries(function) && m_hooks_lists);
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
    if (m_output != nullptr)
        m_output->lock().lock();
    if (const RuleSet *rules = m_rules)
        rules->lock_counts();
}

void Filter::after_fork_in_parent() {
    if (const RuleSet *rules = m_rules)
        rules->unlock_counts();
    if (m_output != nullptr)
        m_output->lock().unlock();
    if (m_sessions != nullptr)
        m_sessions->lock().unlock();
    m_handles.unlock_all();
    m_looking.unlock();
}

void Filter::after_fork_in_child() {
    if (m_output != nullptr)
        m_output->forget_calls();
    if (RuleSet *rules = m_rules)
        rules->forget_process();
    after_fork_in_parent();
    m_running = 0;  // the calls of other threads did not come along
    m_process = nullptr;
    m_is_forked = true;
    m_next_look = 0;
}

// ---- calls ----

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

journal::CallNumber Filter::begin_record(CallFrame &frame, CallView &view, uint64_t *words) {
    const unsigned function = view.function();
    std::copy(std::begin(frame.arguments), std::end(frame.arguments), words);
    if (traits(function).arguments > 6)
        words[6] = frame.stack[0];
    const journal::CallNumber number = m_journal->enter(journal_number(function), words);
    if (const sts_session_def_v7_t *session = view.session())
        m_sessions->refresh(session);
    if (function == fn_stspi_open_server || function == fn_stspi_create_server ||
        function == fn_stspi_get_server_prop_byname)
        frame.arguments[0] = reinterpret_cast<uint64_t>(m_sessions->watched(
            reinterpret_cast<const sts_session_def_v7_t *>(frame.arguments[0])));  // NOLINT(performance-no-int-to-ptr)
    return number;
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

// What it prints meanwhile is written down, where the journal is to have it.
class PrintedByCall {
public:
    PrintedByCall(OutputWatch *watch, journal::CallNumber call) : m_watch(watch), m_call(call) {
        if (m_watch != nullptr)
            m_watch->enter();
    }
    ~PrintedByCall() {
        const KeptErrno kept;
        if (m_watch != nullptr)
            m_watch->leave(m_call);
    }
    PrintedByCall(const PrintedByCall &) = delete;
    PrintedByCall &operator=(const PrintedByCall &) = delete;

private:
    OutputWatch *m_watch;
    journal::CallNumber m_call;
};

}  // namespace

int32_t Filter::call_wrapped(CallFrame &frame, journal::CallNumber number) const {
    const int arguments = traits(static_cast<unsigned>(frame.function)).arguments;
    uint64_t words = arguments > 6 ? 2 : 0;
    if (arguments < 0)
        words = readable_words(frame.stack, most_stack_words);
    const PrintedByCall printed(m_output.get(), number);
    return static_cast<int32_t>(filter_call(&frame, filter_next[frame.function], words));
}

Outcome Filter::pass(CallFrame &frame, const RuleSet &rules) {
    RuledCall call(frame, m_handles, rules, m_ledger.get());
    const auto function = static_cast<unsigned>(frame.function);
    journal::CallNumber number = 0;
    uint64_t words[journal::MAX_ARGUMENTS] = {};  // as they came, for the journal
    {
        const KeptErrno kept;
        if (m_journal != nullptr) {
            number = begin_record(frame, call.view(), words);
            call.begin_record(m_journal.get(), number);
        }
        call.act_before();
        if (!call.is_answered()) {
            if (!is_always_hooked(function) && !gives_list_entries(function) && m_journal == nullptr &&
                !call.has_more_to_do())
                return {0, 0};
            call.view().note_before();
        }
    }
    if (!call.is_answered()) {
        const CallOfThread of_thread(number);
        const std::function<int32_t()> wrapped = [&] { return call_wrapped(frame, number); };
        const int32_t status =
            gives_list_entries(function) ? ListEntries(call.view(), wrapped).give() : call_wrapped(frame, number);
        const KeptErrno kept;
        mend_registration(frame);
        call.came_back(status, wrapped);
    }
    const KeptErrno kept;
    if (m_journal != nullptr)
        m_journal->leave(number, journal_number(function), words, call.status());
    return {call.status(), 1};
}

}  // namespace filter
