// What the process does with signals, and what this thread holds back, as it was.
#pragma once

#include <array>
#include <csignal>
#include <string>

namespace conformance {

class SignalSnapshot {
public:
    void take();

    bool is_current() const;

    // The signals that are treated otherwise now: "SIGUSR1 default", "SIGUSR1 ignored".
    struct Difference {
        std::string then;
        std::string now;
    };
    Difference difference() const;

private:
    struct Disposition {
        sighandler_t handler = SIG_DFL;
        int flags = 0;
    };
    static Disposition disposition_of(int number);
    static std::string text_of(int number, const Disposition &disposition, bool is_blocked);

    std::array<Disposition, NSIG> dispositions_{};
    sigset_t blocked_{};
};

}  // namespace conformance
