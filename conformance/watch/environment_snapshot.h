// The environment as it was, and what differs now.
#pragma once

#include <string>

namespace conformance {

class EnvironmentSnapshot {
public:
    // What is there now. Allocates nothing when that is what was there before.
    void take();

    // True when each entry is what it was, at its place.
    bool is_current() const;

    // The variables that came, went or changed, with their values then and now: "A="1", B not set". Long lists are cut.
    struct Difference {
        std::string then;
        std::string now;
    };
    Difference difference() const;

private:
    std::string entries_;  // each with its terminator
};

}  // namespace conformance
