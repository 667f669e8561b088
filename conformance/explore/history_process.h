// Plays histories, each in a process of its own.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "conformance/explore/finding.h"
#include "conformance/explore/history.h"
#include "conformance/explore/mirror.h"
#include "conformance/explore/plugin_caller.h"
#include "conformance/watch/process_state.h"

namespace conformance {

// By call; texts hold "{work}" and "{own}". Nothing for a call that must not be made then.
using Expectations = std::vector<std::optional<model::Expected>>;

class HistoryProcess {
public:
    // base: an empty directory for this object alone. The caller's library is loaded; it outlives this object. Changes the
    // working directory of this process, and where it looks for configuration files.
    // time_limit: of a history, as ProcessTime counts it.
    // other: what the plug-in is compared with instead of the model; null for the model.
    HistoryProcess(PluginCaller &caller, const std::string &base, const std::string &own_name, std::string array_name,
                   std::chrono::milliseconds time_limit, PluginCaller *other = nullptr);
    ~HistoryProcess();
    HistoryProcess(const HistoryProcess &) = delete;
    HistoryProcess &operator=(const HistoryProcess &) = delete;

    // The history's texts are not expanded yet.
    HistoryFinding play(const History &history, bool watch_memory);

    // As play, with a listener in the process that plays; in the end the listener is destroyed.
    HistoryFinding play(const History &history, bool watch_memory,
                        const std::function<std::unique_ptr<CallListener>()> &make_listener);

    // What the model expects of each call. Plays nothing.
    Expectations expectations(const History &history);

    // Made by the last history, up to its finding.
    uint64_t calls_made() const { return finding_->calls; }

    const Places &places() const { return mirror_.places(); }

private:
    HistoryFinding play_in_child(const History &history, bool watch_memory,
                                 const std::function<std::unique_ptr<CallListener>()> &make_listener,
                                 PluginCaller &caller, PluginCaller *other);
    HistoryFinding unlike_the_other(const History &history, HistoryFinding finding);
    bool wait_for(int process);
    HistoryFinding finding_of(int process, bool ended_in_time);

    PluginCaller &caller_;
    PluginCaller *other_;
    Mirror mirror_;
    std::optional<ProcessState> process_;  // that each of its children inherits
    std::chrono::milliseconds time_limit_;
    SharedFinding *finding_;
    int output_;
    int errors_;
};

// What a disk array of the plug-in is called on this machine: the machine's name with a domain behind it. Plays a few calls
// in a process of its own below base; when they fail, gives the name that the model takes for granted.
std::string array_name_of(PluginCaller &caller, const std::string &base);

}  // namespace conformance
