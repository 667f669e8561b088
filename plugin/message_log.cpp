#include "plugin/message_log.h"

namespace {

void deliver(const sts_session_def_v7_t *session, const char *text, uint32_t mask_bit, int32_t level) {
    if (session != nullptr && text != nullptr && session->log_function != nullptr &&
        (session->log_mask & mask_bit) != 0)
        session->log_function(session->log_context, text, level);
}

}  // namespace

void log_trace(const sts_session_def_v7_t *session, const char *text) {
    deliver(session, text, STS_LOG_MASK_TRACE, STS_LOG_LEVEL_TRACE);
}

void log_error(const sts_session_def_v7_t *session, const char *text) {
    deliver(session, text, STS_LOG_MASK_ERROR, STS_LOG_LEVEL_ERROR);
}
