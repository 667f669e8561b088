// Brackets an entry point with an entering and a leaving line in the trace class.
#pragma once

#include "stspi/sts_types.h"

// Sends "++++ Entering NAME\n" when it is made and "---- Leaving NAME\n" when it goes, on every way out of the scope,
// exceptions included. With a null session it does nothing. What the log function throws passes on from the entering line
// and is dropped on the leaving line.
class TraceObject {
public:
    // The session must outlive the object; the name is copied, at most 1024 bytes of it.
    TraceObject(const sts_session_def_v7_t *session, const char *function_name);
    ~TraceObject();
    TraceObject(const TraceObject &) = delete;
    TraceObject &operator=(const TraceObject &) = delete;

private:
    void send(const char *opening) const;

    const sts_session_def_v7_t *m_session = nullptr;
    char m_function_name[1024];  // without a terminator when the name fills it
};
