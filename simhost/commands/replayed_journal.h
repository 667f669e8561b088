// What "replay" and "minimize" share: the options, and the recorded calls made again into a journal of their own.
#pragma once

#include <optional>
#include <string>

#include "journal/replay/replay_run.h"
#include "simhost/commands/command_line.h"

struct ReplayOptions {
    std::string journal;
    HostOptions host;
    std::string pace = "max";
    unsigned timeout_seconds = 60;
};

// Adds the journal and all that is told about where its calls are made, a filter in front of the plug-in too.
void add_replay_options(CLI::App &command, ReplayOptions &options);

// Throws UsageError when the file is no journal, cannot be read or holds no calls; warns of calls that are left out.
RecordedSession recorded_session(const ReplayOptions &options, Report &report);

// Throws UsageError when `written`, the file that `option` names, is the journal itself. Empty for none.
void demand_another_file(const ReplayOptions &options, const char *option, const std::string &written);

// Where the calls are made.
class ReplayPlace {
public:
    explicit ReplayPlace(const ReplayOptions &options);

    // As replay_calls; the counts of rules begin anew. Throws UsageError when nothing could be made, because the plug-in
    // cannot be loaded, say, and when the filter's rules have mistakes.
    ReplayOutcome replayed(const RecordedSession &session, const std::vector<bool> &wanted, const std::string &path);

    // Tells what became of the rules in the last replay. Throws BadAnswer when all were expected to fire and one did not.
    void tell(Report &report) const;

private:
    HostOptions m_host;
    ReplaySettings m_settings;
    std::optional<FilterSession> m_filter;  // of the last replay
};
