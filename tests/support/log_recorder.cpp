#include "tests/support/log_recorder.h"

#include <ostream>

#include "copan/copan_sim_storage_server.h"
#include "sim/orv_sim_storage_server.h"

bool operator==(const Message &left, const Message &right) {
    return left.level == right.level && left.text == right.text;
}

std::ostream &operator<<(std::ostream &stream, const Message &message) {
    return stream << "level " << message.level << ": \"" << message.text << '"';
}

Message trace(const std::string &text) { return {STS_LOG_LEVEL_TRACE, text}; }
Message error(const std::string &text) { return {STS_LOG_LEVEL_ERROR, text}; }
Message entering(const std::string &entry_point) { return trace("++++ Entering " + entry_point + "\n"); }
Message leaving(const std::string &entry_point) { return trace("---- Leaving " + entry_point + "\n"); }

LogRecorder::LogRecorder(uint32_t mask) {
    m_session.log_context = reinterpret_cast<uintptr_t>(this);
    m_session.log_function = record;
    m_session.log_mask = mask;
}

LogRecorder::~LogRecorder() {
    OrvSimStorageServer::set_session(nullptr);
    CopanSimStorageServer::set_session(nullptr);
}

void LogRecorder::record(uint64_t log_context, const char *message, int32_t level) {
    reinterpret_cast<LogRecorder *>(log_context)->m_messages.push_back({level, message});
}
