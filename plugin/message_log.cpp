#include "plugin/message_log.h"

namespace {

bool is_enabled(const sts_session_def_v7_t *session, uint32_t mask_bit) {
    return session != nullptr && session->log_function != nullptr && (session->log_mask & mask_bit) != 0;
}

void deliver(const sts_session_def_v7_t *session, const char *text, uint32_t mask_bit, int32_t level) {
    if (text != nullptr && is_enabled(session, mask_bit))
        session->log_function(session->log_context, text, level);
}

}  // namespace

bool is_trace_enabled(const sts_session_def_v7_t *session) { return is_enabled(session, STS_LOG_MASK_TRACE); }

void log_trace(const sts_session_def_v7_t *session, const char *text) {
    deliver(session, text, STS_LOG_MASK_TRACE, STS_LOG_LEVEL_TRACE);
}

void log_error(const sts_session_def_v7_t *session, const char *text) {
    deliver(session, text, STS_LOG_MASK_ERROR, STS_LOG_LEVEL_ERROR);
}
