#include "plugin/trace_object.h"

#include <cstdio>
#include <cstring>

#include "plugin/message_log.h"

TraceObject::TraceObject(const sts_session_def_v7_t *session, const char *function_name) {
    if (session == nullptr)
        return;
    m_session = session;
    const size_t length = strnlen(function_name, sizeof m_function_name);
    std::memcpy(m_function_name, function_name, length);
    if (length < sizeof m_function_name)
        m_function_name[length] = '\0';
    send("++++ Entering ");
}

TraceObject::~TraceObject() {
    try {
        send("---- Leaving ");
    } catch (...) {
        // Sent on the way out of other exceptions too, where a second one would end the process.
    }
}

void TraceObject::send(const char *opening) const {
    if (!is_trace_enabled(m_session))
        return;
    char line[1024];
    constexpr int name_room = 1000;  // entry-point names are short; a longer one is cut
    std::snprintf(line, sizeof line, "%s%.*s\n", opening, name_room, m_function_name);
    log_trace(m_session, line);
}
