// Messages to the framework, in the two classes that it can switch on and off.
#pragma once

#include "stspi/sts_types.h"

// Sends text to the session's log function when the class's mask bit is set. Nothing happens without a session, a log
// function or a text. The session is read afresh each time, since the framework may change it between two messages.
void log_trace(const sts_session_def_v7_t *session, const char *text);
void log_error(const sts_session_def_v7_t *session, const char *text);

// Whether log_trace would send a text now: saves composing one that nobody gets.
bool is_trace_enabled(const sts_session_def_v7_t *session);
