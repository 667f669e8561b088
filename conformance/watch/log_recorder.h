// A session whose log function records, and expectations about what was recorded.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "conformance/watch/guarded_memory.h"
#include "stspi/sts_types.h"

namespace conformance {

// Which messages a mask lets through. unmasked: sent whatever the mask is.
enum class LogClass { trace, error, unmasked };

struct LogLine {
    LogClass log_class;
    std::string text;
};

LogLine trace(const std::string &text);
LogLine error(const std::string &text);
LogLine unmasked(const std::string &text);
LogLine entering(const std::string &entry_point);
LogLine leaving(const std::string &entry_point);

struct RecordedMessage {
    uint64_t context;
    std::string text;
    int32_t level;
    int thread;  // the kernel's id of the calling thread
};

// Every session lives until the process ends: a plug-in may keep its address.
class Session {
public:
    // As sts_session_def_v7_t; 0xff lets everything through.
    void set_mask(uint32_t mask);
    void set_log_function(sts_log_function_t function);

    // What to pass to entry points; null for a null session.
    const sts_session_def_v7_t *pointer() const { return is_null_ ? nullptr : record_.get(); }

    const std::vector<RecordedMessage> &messages() const { return messages_; }
    void clear() { messages_.clear(); }

    // Called for each message before it is recorded.
    std::function<void()> on_message;

    // The messages since the last clear must be exactly those lines that the mask lets through, each with the session's
    // context and its class's level; clears them.
    bool expect_log(const std::vector<LogLine> &lines);

    // As expect_log, where the plug-in may say more, or nothing, between the lines before and the lines after.
    bool expect_log_around(const std::vector<LogLine> &before, const std::vector<LogLine> &after);

    // The record must be as the session's maker left it.
    void expect_unwritten();

private:
    friend Session &new_session(uint32_t mask);
    friend Session &new_null_session();
    friend void receive(uint64_t context, const char *text, int32_t level);
    Session(uint32_t mask, bool is_null);
    // Those of the lines that this session lets through, as findings show them.
    std::vector<std::string> shown(const std::vector<LogLine> &lines) const;
    std::vector<std::string> take_shown_messages();
    void add_log_finding(const std::vector<std::string> &expected, const std::vector<std::string> &got) const;

    bool is_null_;
    Watched<sts_session_def_v7_t> record_;
    std::vector<RecordedMessage> messages_;
};

Session &new_session(uint32_t mask = 0xff);
Session &new_null_session();

// Told of each message besides; null for nobody.
using MessageListener = void (*)(int32_t level, const char *text);
void set_message_listener(MessageListener listener);

// The recording log function itself.
void receive(uint64_t context, const char *text, int32_t level);

// Runs action with a fresh session for each mask that matters, without a log function, and with a null session.
void for_every_mask(const std::function<void(Session &)> &action);

// Runs action as for_every_mask does. Each time the action's status must be the same and the log be lines under that mask. The action may clear the session's log.
void expect_under_every_mask(int32_t status, const std::vector<LogLine> &lines,
                             const std::function<int32_t(Session &)> &action);

}  // namespace conformance
