// A session whose messages are kept.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "stspi/sts_types.h"

struct Message {
    int32_t level;
    std::string text;
};
bool operator==(const Message &left, const Message &right);
std::ostream &operator<<(std::ostream &stream, const Message &message);

// Expected messages of the two classes.
Message trace(const std::string &text);
Message error(const std::string &text);

// The two lines around an entry point.
Message entering(const std::string &entry_point);
Message leaving(const std::string &entry_point);

// Not copied or moved: the session's log context is the recorder's address. The simulator classes forget the session when
// the recorder goes.
class LogRecorder {
public:
    explicit LogRecorder(uint32_t mask = STS_LOG_MASK_TRACE | STS_LOG_MASK_ERROR);
    ~LogRecorder();
    LogRecorder(const LogRecorder &) = delete;
    LogRecorder &operator=(const LogRecorder &) = delete;

    sts_session_def_v7_t *session() { return &m_session; }
    const std::vector<Message> &messages() const { return m_messages; }
    void add(const Message &message) { m_messages.push_back(message); }
    void clear() { m_messages.clear(); }

private:
    static void record(uint64_t log_context, const char *message, int32_t level);

    sts_session_def_v7_t m_session{};
    std::vector<Message> m_messages;
};
