// What one call changes about its process: signals, umask, locale, environment, directory are a finding at once;
// descriptors, children and threads that it leaves are remembered, so that a leak names its call.
#pragma once

#include <string>
#include <vector>

namespace conformance {

class CallWatch {
public:
    // call: as findings show it. Looks at nothing on other threads than the test's own, and while it is switched off.
    explicit CallWatch(std::string call);
    ~CallWatch();
    CallWatch(const CallWatch &) = delete;
    CallWatch &operator=(const CallWatch &) = delete;

    // For rounds of which there are too many.
    static void switch_on(bool on);

private:
    struct State {
        unsigned umask;
        std::string locale;
        std::string directory;
        int lowest_free_descriptor;
        bool has_children;
        unsigned threads;
    };
    static State look();

    std::string call_;
    bool is_watching_;
    State before_{};
};

// The call that left it, "" when that is not known.
std::string opener_of_descriptor(int number);
std::string starter_of_children();
std::string starter_of_threads();

}  // namespace conformance
