// What "replay" and "minimize" share: the options, and the recorded calls made again into a journal of their own.
#pragma once

#include <string>

#include "journal/replay/replay_run.h"
#include "simhost/commands/command_line.h"

struct ReplayOptions {
    std::string journal;
    HostOptions host;  // without a filter
    std::string pace = "max";
    unsigned timeout_seconds = 60;
};

// Adds the journal and all that is told about where its calls are made.
void add_replay_options(CLI::App &command, ReplayOptions &options);

ReplaySettings replay_settings(const ReplayOptions &options);

// Throws UsageError when the file is no journal, cannot be read or holds no calls; warns of calls that are left out.
RecordedSession recorded_session(const ReplayOptions &options, Report &report);

// As replay_calls. Throws UsageError when nothing could be made, because the plug-in cannot be loaded, say.
ReplayOutcome replayed(const RecordedSession &session, const std::vector<bool> &wanted, const ReplaySettings &settings,
                       const std::string &path);
