#include "conformance/report/outcome.h"

namespace conformance {

const char *outcome_name(Outcome outcome) {
    switch (outcome) {
        case Outcome::pass:
            return "pass";
        case Outcome::warn:
            return "warn";
        case Outcome::skip:
            return "skip";
        case Outcome::known:
            return "known";
        case Outcome::fail:
            return "fail";
        case Outcome::crash:
            return "crash";
        case Outcome::timeout:
            return "timeout";
    }
    return "unknown";
}

bool is_failure(Outcome outcome) {
    return outcome == Outcome::fail || outcome == Outcome::crash || outcome == Outcome::timeout;
}

}  // namespace conformance
