// Logging of the simulators: through a session, whatever its mask says.
#pragma once

#include "stspi/sts_types.h"

// Sends text to the session's log function with the error level. Does nothing without a session or a log function. The
// mask is not consulted: what a simulator has to report is always a failure.
void log_unmasked(const sts_session_def_v7_t *session, const char *text);
