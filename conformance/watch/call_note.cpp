#include "conformance/watch/call_note.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>

#include "conformance/watch/expect.h"

namespace conformance {

namespace {

SharedNote own_note;
SharedNote *current = &own_note;
std::thread::id noted_thread = std::this_thread::get_id();

constexpr size_t calls_kept = 5;  // the last one and what came before it
char recent[calls_kept][sizeof(SharedNote::call)];
unsigned times[calls_kept];  // one after the other
std::optional<int32_t> statuses[calls_kept];
size_t noted_calls = 0;
size_t last_noted = 0;  // noted_calls when the last call was noted: steps may have come since

thread_local int calls_of_this_thread = 0;
std::atomic<int> calls_of_all_threads{0};
std::mutex other_threads;

void remember(const char *text) {
    const size_t previous = (noted_calls + calls_kept - 1) % calls_kept;
    if (noted_calls > 0 && std::strcmp(recent[previous], text) == 0) {
        ++times[previous];
        return;
    }
    times[noted_calls % calls_kept] = 1;
    statuses[noted_calls % calls_kept].reset();
    std::snprintf(recent[noted_calls++ % calls_kept], sizeof recent[0], "%s", text);
}

void note_call(const char *call) {
    std::snprintf(current->call, sizeof current->call, "%s", call);
    remember(current->call);
    last_noted = noted_calls;
}

}  // namespace

std::string place_text(const SharedNote &note) {
    const uint32_t elsewhere = note.elsewhere;
    const std::string other = elsewhere == 1 ? fmt::format("{} on another thread", note.other_call)
                                             : fmt::format("one of {} calls on other threads, {} the last to begin",
                                                           elsewhere, note.other_call);
    if (note.in_call == 1)
        return fmt::format("in {}{}", note.call, elsewhere == 0 ? "" : fmt::format(", or in {}", other));
    if (elsewhere != 0)
        return fmt::format("in {}", other);
    if (note.in_loader == 1)
        return fmt::format("in {}{}", note.stage, note.call[0] == '\0' ? "" : fmt::format(", after {}", note.call));
    if (note.call[0] == '\0')
        return fmt::format("at {}, before any call", note.stage);
    return fmt::format("at {}, when no call was running, after {}", note.stage, note.call);
}

bool is_noted_thread() { return std::this_thread::get_id() == noted_thread; }

bool is_this_thread_in_a_call() { return calls_of_this_thread > 0; }

bool plugin_is_running() { return calls_of_all_threads > 0 || current->in_loader == 1; }

std::string running_call() { return calls_of_all_threads > 0 ? current->call : current->stage; }

SharedNote &shared_note() { return *current; }

void set_shared_note(SharedNote *note) {
    current = note;
    noted_thread = std::this_thread::get_id();
}

void forget_calls() {
    current->call[0] = '\0';
    noted_calls = last_noted = 0;
}

void note_stage(const char *stage) { std::snprintf(current->stage, sizeof current->stage, "%s", stage); }

std::string last_call() { return current->call; }

std::vector<std::string> earlier_calls() {
    std::vector<std::string> calls;
    calls.reserve(calls_kept);
    for (size_t i = noted_calls - std::min(noted_calls, calls_kept); i < last_noted; ++i) {
        // Of the last call, how often it was made before.
        const unsigned count = times[i % calls_kept] - (i + 1 == last_noted ? 1 : 0);
        if (count > 0)
            calls.push_back(fmt::format("{}{}{}", recent[i % calls_kept],
                                        statuses[i % calls_kept] ? " = " + status_text(*statuses[i % calls_kept]) : "",
                                        count == 1 ? "" : fmt::format(" ({} times)", count)));
    }
    return calls;
}

void note_step(const std::string &step) {
    if (is_noted_thread() && noted_calls > 0)
        remember(fmt::format("({})", step).c_str());
}

CallNote::CallNote(const std::string &call) {
    ++calls_of_this_thread;
    ++calls_of_all_threads;
    if (!is_noted_thread()) {
        const std::lock_guard lock(other_threads);
        ++current->elsewhere;
        std::snprintf(current->other_call, sizeof current->other_call, "%s", call.c_str());
        return;
    }
    note_call(call.c_str());
    current->in_call = 1;
}

CallNote::~CallNote() {
    --calls_of_this_thread;
    --calls_of_all_threads;
    if (is_noted_thread())
        current->in_call = 0;
    else
        --current->elsewhere;
}

void CallNote::returned(int32_t status) {
    if (!is_noted_thread() || last_noted == 0)
        return;
    const size_t last = (last_noted - 1) % calls_kept;
    const bool is_as_before = !statuses[last] || *statuses[last] == status;
    if (is_as_before) {
        statuses[last] = status;
        return;
    }
    // The same call with another end stands on a line of its own.
    --times[last];
    const size_t next = noted_calls++ % calls_kept;
    std::memcpy(recent[next], recent[last], sizeof recent[next]);
    times[next] = 1;
    statuses[next] = status;
    last_noted = noted_calls;
}

LoaderNote::LoaderNote(const std::string &what) : stage_before_(current->stage) {
    note_stage(what.c_str());
    current->in_loader = 1;
}

LoaderNote::~LoaderNote() {
    static std::atomic<int> loads{0};
    if (loads++ > 0)
        note_call(current->stage);
    current->in_loader = 0;
    note_stage(stage_before_.c_str());
}

}  // namespace conformance
