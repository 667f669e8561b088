// What a plug-in says to a session, written down on its way.
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>

#include "journal/writer.h"
#include "stspi/sts_types.h"

namespace filter {

class SessionWatch {
public:
    explicit SessionWatch(journal::Writer &journal) : m_journal(journal) {}

    // A session to hand to the plug-in in the caller's place: the same but for the log function, which writes the message
    // down and hands it on. It lives as long as this, since a plug-in may keep it. Null for null.
    const sts_session_def_v7_t *watched(const sts_session_def_v7_t *session);

    // The caller's session may have changed since.
    void refresh(const sts_session_def_v7_t *session);

    // Messages on this thread belong to this call from now on. Returns the one that they belonged to.
    static journal::CallNumber enter(journal::CallNumber call);

    // Around a fork.
    std::mutex &lock() { return m_lock; }

private:
    struct Watched {
        sts_session_def_v7_t record;
        const sts_session_def_v7_t *original;
        journal::Writer *journal;
    };
    static void log(uint64_t context, const char *message, int32_t level);

    journal::Writer &m_journal;
    std::mutex m_lock;
    std::unordered_map<const sts_session_def_v7_t *, std::unique_ptr<Watched>> m_watched;
};

}  // namespace filter
