#include "filter/session_watch.h"

#include "base/thread_value.h"
#include "filter/caller_memory.h"

namespace filter {

namespace {

base::ThreadValue call_of_thread;

// Written only when it changes: other threads may be in the plug-in with this session.
void take_mask(sts_session_def_v7_t &record, const sts_session_def_v7_t &original) {
    if (record.log_mask != original.log_mask)
        __atomic_store_n(&record.log_mask, original.log_mask, __ATOMIC_RELAXED);
}

}  // namespace

journal::CallNumber SessionWatch::enter(journal::CallNumber call) {
    const journal::CallNumber before = call_of_thread.get();
    call_of_thread.set(call);
    return before;
}

const sts_session_def_v7_t *SessionWatch::watched(const sts_session_def_v7_t *session) {
    if (session == nullptr || !leads_somewhere(reinterpret_cast<uint64_t>(session)))
        return session;
    const std::lock_guard guard(m_lock);
    std::unique_ptr<Watched> &watched = m_watched[session];
    if (watched == nullptr) {
        watched = std::make_unique<Watched>();
        watched->original = session;
        watched->journal = &m_journal;
        watched->record = *session;
        watched->record.log_context = reinterpret_cast<uint64_t>(watched.get());
        watched->record.log_function = log;
    }
    take_mask(watched->record, *session);
    return &watched->record;
}

void SessionWatch::refresh(const sts_session_def_v7_t *session) {
    const std::lock_guard guard(m_lock);
    const auto found = m_watched.find(session);
    if (found != m_watched.end())
        take_mask(found->second->record, *session);
}

// The caller's members are read afresh for every message, as the plug-in would have read them.
void SessionWatch::log(uint64_t context, const char *message, int32_t level) {
    auto *watched = reinterpret_cast<Watched *>(context);  // NOLINT(performance-no-int-to-ptr)
    watched->journal->log(call_of_thread.get(), level, message == nullptr ? "" : message);
    const sts_session_def_v7_t &original = *watched->original;
    if (original.log_function != nullptr)
        original.log_function(original.log_context, message, level);
    take_mask(watched->record, original);
}

}  // namespace filter
