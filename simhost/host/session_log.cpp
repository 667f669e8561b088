#include "simhost/host/session_log.h"

#include <algorithm>
#include <utility>

SessionLog::SessionLog(bool traces) {
    m_session.log_context = reinterpret_cast<uint64_t>(this);
    m_session.log_function = receive;
    m_session.log_mask = STS_LOG_MASK_ERROR;
    if (traces)
        m_session.log_mask |= STS_LOG_MASK_TRACE;
}

std::vector<LogLine> SessionLog::take() { return std::exchange(m_lines, {}); }

bool SessionLog::has_error() const {
    return std::any_of(m_lines.begin(), m_lines.end(),
                       [](const LogLine &line) { return line.level == STS_LOG_LEVEL_ERROR; });
}

void SessionLog::receive(uint64_t context, const char *message, int32_t level) {
    auto *self = reinterpret_cast<SessionLog *>(context);
    self->m_lines.push_back({message == nullptr ? "(null)" : message, level});
}
