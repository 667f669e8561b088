// The session that simhost gives to the plug-in, and the messages that arrive through it.
#pragma once

#include <vector>

#include "simhost/report/log_line.h"
#include "stspi/sts_types.h"

class SessionLog {
public:
    // With traces the plug-in is asked for trace messages too, otherwise for error messages only.
    explicit SessionLog(bool traces);
    SessionLog(const SessionLog &) = delete;
    SessionLog &operator=(const SessionLog &) = delete;

    const sts_session_def_v7_t *session() const { return &m_session; }

    // The messages since the last call.
    std::vector<LogLine> take();
    // Whether an error is among those that take would give.
    bool has_error() const;

private:
    static void receive(uint64_t context, const char *message, int32_t level);

    sts_session_def_v7_t m_session = {};
    std::vector<LogLine> m_lines;
};
