// Recorded calls made again, in a process of their own, and a journal of what they did this time.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "journal/replay/recorded_calls.h"

enum class ReplayPace { as_recorded, as_fast_as_possible };

struct ReplaySettings {
    std::string plugin;         // path
    std::string image_library;  // path; empty: as the plug-in finds it
    std::string config_dir;     // empty: /etc/quillmere
    ReplayPace pace = ReplayPace::as_fast_as_possible;
    std::chrono::milliseconds time_limit{60000};
    // In the process that makes the calls: before the plug-in is loaded; before each step, by its index, with the words
    // of its arguments, on the thread that makes it; when all are made. Empty for nothing.
    std::function<void()> prepare;
    std::function<void(size_t step, const uint64_t *words)> before_step;
    std::function<void()> finish;
};

struct ReplayOutcome {
    enum class End { all_made, crashed, hung, failed } end = End::all_made;
    int signal = 0;      // that ended it
    std::string reason;  // of a failure: the plug-in cannot be loaded, say
};

// Makes the steps whose `wanted` is true, each on the thread that it was made on; one begins when those have ended that had
// ended before it was begun. Writes what they do to the journal at `path`. Steps of all recorded processes are made in one.
// Throws std::runtime_error when no process can be made.
ReplayOutcome replay_calls(const RecordedSession &session, const std::vector<bool> &wanted,
                           const ReplaySettings &settings, const std::string &path);
