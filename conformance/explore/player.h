// Plays a history in this process: each call is answered by the model and made by the plug-in, and both are compared.
#pragma once

#include <vector>

#include "conformance/explore/configuration_files.h"
#include "conformance/explore/deeds.h"
#include "conformance/explore/finding.h"
#include "conformance/explore/history.h"
#include "conformance/explore/mirror.h"
#include "conformance/explore/plugin_caller.h"
#include "conformance/model/model.h"
#include "conformance/watch/process_state.h"

namespace conformance {

class Player {
public:
    // The history's texts are expanded already. Standard output of the process goes to a file (redirect_output). before: what
    // the process was like before anything was called.
    Player(PluginCaller &caller, Mirror &mirror, const ProcessState &before, SharedFinding &finding);

    // Stops at the first difference, which it leaves in the finding. Closes what is open in the end, and looks at what must
    // not be left. watch_memory: plays the calls again and again, for what each time keeps.
    void play(const History &history, bool watch_memory);

    // The same calls by this plug-in and then by another, which must do the same; nothing else is expected of the two.
    void play_against(const History &history, PluginCaller &other);

private:
    bool play_once(const History &history);
    bool play_calls(const std::vector<model::Call> &calls, model::Model &model, int first);
    bool play_at_the_same_time(const std::vector<model::Call> &calls, size_t begin, size_t end, model::Model &model,
                               int first);
    Observed made(const model::Call &call, size_t thread, int index);
    bool compare(const model::Call &call, const model::Expected &expected, const Observed &observed, int index);
    bool nothing_is_left(int index);
    bool memory_is_released(const History &history, int index);
    bool found(int index, const std::string &what, const std::string &expected, const std::string &got);

    PluginCaller *caller_;
    Mirror &mirror_;
    ConfigurationFiles files_;
    const ProcessState &before_;
    SharedFinding &finding_;
    size_t copan_lsus_made_ = 0;
    model::SimulatorSessions simulators_;
    enum class Judge : uint8_t { model, nobody, first_plugin } judge_ = Judge::model;
    Deeds deeds_;  // of the first plug-in
    TablePlaces tables_;
    TablePlaces other_tables_;
};

}  // namespace conformance
