#include "conformance/watch/call_note.h"

#include <cstdio>
#include <thread>

namespace conformance {

namespace {

SharedNote own_note;
SharedNote *current = &own_note;
std::thread::id noted_thread = std::this_thread::get_id();

bool is_noted() { return std::this_thread::get_id() == noted_thread; }

}  // namespace

SharedNote &shared_note() { return *current; }

void set_shared_note(SharedNote *note) {
    current = note;
    noted_thread = std::this_thread::get_id();
}

void note_stage(const char *stage) { std::snprintf(current->stage, sizeof current->stage, "%s", stage); }

std::string last_call() { return current->call; }

CallNote::CallNote(const std::string &call) {
    if (!is_noted())
        return;
    std::snprintf(current->call, sizeof current->call, "%s", call.c_str());
    current->in_call = 1;
}

CallNote::~CallNote() {
    if (is_noted())
        current->in_call = 0;
}

}  // namespace conformance
