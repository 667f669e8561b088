// The call that a test's process is in, kept where its parent can read it after a crash or a time-out.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace conformance {

// Lives in memory that parent and child share.
struct SharedNote {
    std::atomic<uint32_t> in_call;   // 1 while the plug-in runs
    std::atomic<uint32_t> finished;  // 1 when the test and its clean-up came to their end
    char call[400];                  // the call and its arguments
    char stage[64];                  // what the process was about, outside of calls
};

// The note of this process; the thread that sets it is the one whose calls are noted. Before, a note that nobody reads.
SharedNote &shared_note();
void set_shared_note(SharedNote *note);

void note_stage(const char *stage);

// The last call as text, "" before the first.
std::string last_call();

// The calls before the last one, oldest first; a few.
std::vector<std::string> earlier_calls();

// True on the thread whose calls are noted.
bool is_noted_thread();

// True while a call is under way on the calling thread.
bool is_this_thread_in_a_call();

// True while a call is under way on any thread, or the plug-in is loaded or unloaded; and which call, or stage, it is.
bool plugin_is_running();
std::string running_call();

// Marks the time inside one call.
class CallNote {
public:
    explicit CallNote(const std::string &call);
    ~CallNote();
    CallNote(const CallNote &) = delete;
    CallNote &operator=(const CallNote &) = delete;
};

}  // namespace conformance
