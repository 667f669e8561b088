#include "sim/session_log.h"

void log_unmasked(const sts_session_def_v7_t *session, const char *text) {
    if (session != nullptr && session->log_function != nullptr)
        session->log_function(session->log_context, text, STS_LOG_LEVEL_ERROR);
}
