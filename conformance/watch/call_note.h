// The call that a test's process is in, kept where its parent can read it after a crash or a time-out.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace conformance {

// Lives in memory that parent and child share.
struct SharedNote {
    std::atomic<uint32_t> in_call;    // 1 while the plug-in runs on the noted thread
    std::atomic<uint32_t> in_loader;  // 1 while a library is loaded or unloaded: stage says which
    std::atomic<uint32_t> elsewhere;  // calls under way on other threads
    std::atomic<uint32_t> finished;   // 1 when the test and its clean-up came to their end
    char call[400];                   // the last call on the noted thread and its arguments
    char other_call[400];             // the last call that another thread began
    char stage[200];                  // what the process was about, outside of calls
};

// Where a process was when it ended: the call that was running, or that none was and which came last.
std::string place_text(const SharedNote &note);

// The note of this process; the thread that sets it is the one whose calls are noted. Before, a note that nobody reads.
SharedNote &shared_note();
void set_shared_note(SharedNote *note);

// As before the first call.
void forget_calls();

void note_stage(const char *stage);

// The last call as text, "" before the first.
std::string last_call();

// What came before the last call, oldest first; a few calls and steps.
std::vector<std::string> earlier_calls();

// Something that the test did between calls and that a reader of its calls must know: "lab.sim written".
void note_step(const std::string &step);

// True on the thread whose calls are noted.
bool is_noted_thread();

// True while a call is under way on the calling thread.
bool is_this_thread_in_a_call();

// True while a call is under way on any thread, or the plug-in is loaded or unloaded; and which call, or stage, it is.
bool plugin_is_running();
std::string running_call();

// Marks the time in which the dynamic linker runs a library's own code. Once over it counts as a call, "dlclose of x.so", but
// for the loading that every test begins with.
class LoaderNote {
public:
    explicit LoaderNote(const std::string &what);
    ~LoaderNote();
    LoaderNote(const LoaderNote &) = delete;
    LoaderNote &operator=(const LoaderNote &) = delete;

private:
    std::string stage_before_;
};

// Marks the time inside one call.
class CallNote {
public:
    explicit CallNote(const std::string &call);
    ~CallNote();

    // What the call gave: those before the last are told with it.
    static void returned(int32_t status);
    CallNote(const CallNote &) = delete;
    CallNote &operator=(const CallNote &) = delete;
};

}  // namespace conformance
