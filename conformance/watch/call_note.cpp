#include "conformance/watch/call_note.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

namespace conformance {

namespace {

SharedNote own_note;
SharedNote *current = &own_note;
std::thread::id noted_thread = std::this_thread::get_id();

constexpr size_t calls_kept = 5;  // the last one and what came before it
char recent[calls_kept][sizeof(SharedNote::call)];
unsigned times[calls_kept];  // one after the other
size_t noted_calls = 0;

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

std::vector<std::string> earlier_calls() {
    std::vector<std::string> calls;
    for (size_t i = noted_calls - std::min(noted_calls, calls_kept); i + 1 < noted_calls; ++i)
        calls.push_back(recent[i % calls_kept] +
                        (times[i % calls_kept] == 1 ? "" : " (" + std::to_string(times[i % calls_kept]) + " times)"));
    return calls;
}

CallNote::CallNote(const std::string &call) {
    ++calls_of_this_thread;
    ++calls_of_all_threads;
    if (!is_noted_thread())
        return;
    std::snprintf(current->call, sizeof current->call, "%s", call.c_str());
    const size_t previous = (noted_calls + calls_kept - 1) % calls_kept;
    if (noted_calls > 0 && std::strcmp(recent[previous], current->call) == 0) {
        ++times[previous];
    } else {
        times[noted_calls % calls_kept] = 1;
        std::memcpy(recent[noted_calls++ % calls_kept], current->call, std::strlen(current->call) + 1);
    }
    current->in_call = 1;
}

CallNote::~CallNote() {
    --calls_of_this_thread;
    --calls_of_all_threads;
    if (is_noted_thread())
        current->in_call = 0;
}

}  // namespace conformance
