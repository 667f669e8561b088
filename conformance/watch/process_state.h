// What a plug-in must leave alone in the process that loads it: signals, umask, locale, environment, working directory. All
// of it at once, where no single call is watched.
#pragma once

#include <string>
#include <vector>

#include "conformance/watch/environment_snapshot.h"
#include "conformance/watch/signal_snapshot.h"

namespace conformance {

struct ProcessChange {
    std::string what;  // "umask of the process"
    std::string before;
    std::string now;
};

class ProcessState {
public:
    // As it is now.
    ProcessState();

    // What is otherwise now.
    std::vector<ProcessChange> changes() const;

private:
    SignalSnapshot signals_;
    EnvironmentSnapshot environment_;
    unsigned umask_;
    std::string locale_;
    std::string directory_;
};

}  // namespace conformance
