#include "conformance/watch/call_note.h"

#include <cstdio>
#include <cstring>
#include <thread>

namespace conformance {

namespace {

SharedNote own_note;
SharedNote *current = &own_note;
std::thread::id noted_thread = std::this_thread::get_id();

thread_local int calls_of_this_thread = 0;
std::atomic<int> calls_of_all_threads{0};

}  // namespace

bool is_noted_thread() { return std::this_thread::get_id() == noted_thread; }

bool is_this_thread_in_a_call() { return calls_of_this_thread > 0; }

bool plugin_is_running() {
    return calls_of_all_threads > 0 || std::strstr(current->stage, "loading the plug-in") != nullptr;
}

std::string running_call() { return calls_of_all_threads > 0 ? current->call : current->stage; }

SharedNote &shared_note() { return *current; }

void set_shared_note(SharedNote *note) {
    current = note;
    noted_thread = std::this_thread::get_id();
}

void note_stage(const char *stage) { std::snprintf(current->stage, sizeof current->stage, "%s", stage); }

std::string last_call() { return current->call; }

CallNote::CallNote(const std::string &call) {
    ++calls_of_this_thread;
    ++calls_of_all_threads;
    if (!is_noted_thread())
        return;
    std::snprintf(current->call, sizeof current->call, "%s", call.c_str());
    current->in_call = 1;
}

CallNote::~CallNote() {
    --calls_of_this_thread;
    --calls_of_all_threads;
    if (is_noted_thread())
        current->in_call = 0;
}

}  // namespace conformance
